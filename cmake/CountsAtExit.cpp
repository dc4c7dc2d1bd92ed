// The linker lets all calls of _exit come here (cmake/Coverage.cmake).
extern "C" {
void __gcov_dump();
[[noreturn]] void __real__exit(int status);

[[noreturn]] void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}
}
