# Sourced by checks: builds the program of tests/consumer against an installed copy and runs it.

# Runs a command; shows its words only when it fails.
quietly() {
  local log
  log=$(mktemp)
  "$@" >"$log" 2>&1 || { cat "$log" >&2; rm -f "$log"; echo "failed: $*" >&2; return 1; }
  rm -f "$log"
}

# consume PREFIX FOLDER: found by CMake and by pkg-config, on this machine and on simulated boards, which have what it
# lacks. The build goes into FOLDER.
consume() {
  local prefix=$1 folder=$2 consumer board
  mkdir -p "$folder"
  quietly cmake -S tests/consumer -B "$folder/cmake" -DCMAKE_PREFIX_PATH="$prefix"
  quietly cmake --build "$folder/cmake"

  local libraries=$prefix/lib/pkgconfig:$prefix/lib/$(g++ -print-multiarch)/pkgconfig
  # shellcheck disable=SC2046
  quietly g++ -std=c++17 tests/consumer/main.cpp -o "$folder/by_pkg_config" \
    $(PKG_CONFIG_PATH=$libraries pkg-config --cflags --libs tessary) \
    -Wl,-rpath,"$(PKG_CONFIG_PATH=$libraries pkg-config --variable=libdir tessary)"

  for consumer in "$folder/cmake/consumer" "$folder/by_pkg_config"; do
    quietly "$consumer"
    for board in vx4490p vx2200; do
      quietly "$prefix/bin/tessary-board" run "$board" --time stepped -- "$consumer" board
    done
  done
}

# consume_examples PREFIX FOLDER: each of them builds against the copy, and runs on a board that has what it reads.
consume_examples() {
  local prefix=$1 folder=$2 source example
  quietly cmake -S tests/consumer -B "$folder" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DWITH_EXAMPLES=ON
  quietly cmake --build "$folder"
  for source in examples/*.cpp; do
    example=$(basename "$source" .cpp)
    quietly "$prefix/bin/tessary-board" run vx4490p --time stepped -- "$folder/$example" 2
  done
}
