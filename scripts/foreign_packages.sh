# shellcheck shell=bash
# Sourced by the commands that need packages of another suite or architecture of Debian than this
# machine's. None of these is installed (at most the archive's keys are, if they are missing): the
# lists of packages, the archives and what they hold live in a folder, `foreign`, until the command
# ends. Its user stands in the root of the repository and has sourced packages.sh.

# open_foreign_archive SUITE ARCHITECTURE: reads the lists of that suite from this machine's own
# mirror. apt verifies lists and packages with Debian's keys.
open_foreign_archive() {
  local suite=$1 architecture=$2 mirror
  local keys=/usr/share/keyrings/debian-archive-keyring.gpg
  know_keys_of "$suite"
  mkdir -p .cache
  foreign=$(mktemp -d "$PWD/.cache/foreign.XXXXXX")
  trap 'rm -rf "$foreign"' EXIT
  mkdir -p "$foreign"/{lists/partial,archives/partial,root}
  : > "$foreign/status"
  mirror=$(own_mirror)
  echo "deb [signed-by=$keys] $mirror $suite main" > "$foreign/sources.list"
  foreign_options=(
    -qq
    -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture"
    -o "APT::Sandbox::User=$(id -un)" # which else could not write to the folder
    -o "Dir::Etc::sourcelist=$foreign/sources.list" -o Dir::Etc::sourceparts=/dev/null
    -o "Dir::State=$foreign" -o "Dir::State::status=$foreign/status" -o "Dir::Cache=$foreign"
    -o Acquire::Languages=none
    -o Acquire::AllowInsecureRepositories=false -o APT::Get::AllowUnauthenticated=false)
  apt-get "${foreign_options[@]}" update
}

# Debian 12 got the keys of its successor in an update.
know_keys_of() {
  if [ ! -e "/usr/share/keyrings/debian-archive-$1-stable.gpg" ]; then
    as_root apt-get update -qq
    as_root apt-get install -y -qq debian-archive-keyring > /dev/null
  fi
}

# The name of this machine's own suite.
own_suite() (
  # shellcheck disable=SC1091  # not of this repository
  . /etc/os-release
  echo "$VERSION_CODENAME"
)

# Where this machine gets its own suite from. apt tells only once it has read its lists.
own_mirror() {
  local mirrors
  mirrors=$(mirrors_of_own_suite)
  if [ -z "$mirrors" ]; then
    as_root apt-get update -qq
    mirrors=$(mirrors_of_own_suite)
  fi
  if [ -z "$mirrors" ]; then
    echo "apt knows no mirror of Debian $(own_suite)." >&2
    return 1
  fi
  echo "${mirrors%%$'\n'*}"
}

mirrors_of_own_suite() {
  # shellcheck disable=SC2016  # apt's own, not the shell's
  apt-get indextargets --format '$(RELEASE) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
    awk -v suite="$(own_suite)" '$1 == suite && $2 == "main" { print $3 }'
}

# What the package depends on directly, the first of alternatives, one per line.
foreign_dependencies() {
  apt-cache "${foreign_options[@]}" show --no-all-versions "$1" |
    sed -n 's/^Depends: //p' | tr ',' '\n' | awk '{ print $1 }'
}

# download_foreign PACKAGE...: these alone.
download_foreign() {
  (cd "$foreign/archives" && apt-get "${foreign_options[@]}" download "$@")
}

# download_foreign_with_dependencies PACKAGE...: so that their programs can run.
download_foreign_with_dependencies() {
  apt-get "${foreign_options[@]}" install --yes --download-only --no-install-recommends "$@"
}

# unpack_foreign PATTERN...: unpacks the matching paths of what was downloaded into "$foreign/root".
unpack_foreign() {
  local archive
  for archive in "$foreign"/archives/*.deb; do
    dpkg-deb --fsys-tarfile "$archive" | tar -x -C "$foreign/root" --wildcards "$@"
  done
}
