# shellcheck shell=bash
# Sourced by the commands that need packages of Debian.

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo > /dev/null; then
    sudo "$@"
  else
    echo "Installing packages needs root or sudo." >&2
    return 1
  fi
}

is_installed() {
  dpkg-query --show --showformat='${Status}' "$1" 2> /dev/null | grep -q 'install ok installed'
}

# install_missing PACKAGE...: installs those that are not there yet, and says which.
install_missing() {
  local package missing=()
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  if [ "${#missing[@]}" -gt 0 ]; then
    echo "Installing packages: ${missing[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
  fi
}

# shellcheck disable=SC2034  # used by those who source this file
{
  packages_to_run=(lsof procps grep)
  packages_to_build=(cmake ninja-build g++ pkgconf libcli11-dev libserialport-dev nlohmann-json3-dev)
  packages_to_test=(libgtest-dev libgmock-dev lrzsz faketime strace socat man-db mandoc bash-completion
    tmux umockdev jq ser2net)
  packages_to_run_stations=(ansible-core ansible-lint openssh-server openssh-client ser2net socat python3
    python3-labgrid)
  packages_to_cross_build=(g++-aarch64-linux-gnu googletest)
  packages_to_emulate=(qemu-system-arm cpio)
  packages_to_package=(dpkg-dev file gzip)
  packages_to_check=(clang clang-format clang-tidy ccache shellcheck lintian)
  packages_to_fuzz=(clang libclang-rt-14-dev)
  packages_to_document=(doxygen)
  packages_to_bench=(libbenchmark-dev lrzsz python3 gnuplot-nox)
}
