# Sourced by the scripts beside it: installs the Debian or Ubuntu packages that are missing, and only those.

# Checks run side by side, and dpkg serves one at a time: the others wait, and look again.
require_packages() {
  (
    flock 9
    install_missing "$@"
  ) 9<"${BASH_SOURCE[0]}"
}

install_missing() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "Installing: ${missing[*]}"
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "$0: not root and no sudo: install ${missing[*]} first" >&2; exit 1; }
    as_root=(sudo)
  fi
  local log
  log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update -q &&
         "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends \
           "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
    tail -n 20 "$log" >&2
    rm -f "$log"
    echo "$0: could not install ${missing[*]}" >&2
    exit 1
  fi
  rm -f "$log"
}

readonly BUILD_PACKAGES=(g++ cmake ninja-build pkg-config nlohmann-json3-dev libcli11-dev libgtest-dev zlib1g-dev
  libprotozero-dev libjs-dygraphs libmicrohttpd-dev)
readonly TEST_PACKAGES=(clang clang-tidy clang-format dpkg-dev lintian abigail-tools valgrind)
readonly ARM64_PACKAGES=(g++-aarch64-linux-gnu qemu-user googletest)

# The file is shown when the script ends with a failure. "{ .. } >log || cat log" is none of that: in front of "||" the
# shell goes on after a command that fails.
show_when_failing() {
  shown=$1
  exec 3>&2
  trap '[ $? -eq 0 ] || cat "$shown" >&3' EXIT
}

# Configures and builds a preset; shows the compiler's words only when something is wrong. Further arguments are
# targets.
build_preset() {
  local preset=$1 log
  shift
  log=$(mktemp)
  if ! { cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}; } >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    rm -f "$log"
    echo "$0: the $preset build failed" >&2
    exit 1
  fi
  rm -f "$log"
}

# libFuzzer is a package of its own, named for clang's version, or a part of clang, or not to be had.
require_fuzzer() {
  local fuzzer
  fuzzer=libclang_rt.fuzzer-$(uname -m).a
  [ -e "$(clang++ -print-file-name="$fuzzer")" ] ||
    (require_packages "libclang-rt-$(clang++ -dumpversion | cut -d. -f1)-dev") || true
  [ -e "$(clang++ -print-file-name="$fuzzer")" ]
}
