#pragma once

#include <unistd.h>

#include <utility>

namespace kvo::boards {

// Owns a file descriptor and closes it; -1 means none.
class UniqueDescriptor {
 public:
  UniqueDescriptor() = default;
  explicit UniqueDescriptor(int descriptor) : descriptor_(descriptor) {}
  UniqueDescriptor(UniqueDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  UniqueDescriptor& operator=(UniqueDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  UniqueDescriptor(const UniqueDescriptor&) = delete;
  UniqueDescriptor& operator=(const UniqueDescriptor&) = delete;
  ~UniqueDescriptor() { Close(); }

  int Get() const { return descriptor_; }

  // Gives the descriptor up without closing it.
  int Release() { return std::exchange(descriptor_, -1); }

  void Close() {
    if (descriptor_ >= 0) {
      ::close(std::exchange(descriptor_, -1));
    }
  }

 private:
  int descriptor_ = -1;
};

}  // namespace kvo::boards
