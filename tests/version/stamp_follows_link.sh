#!/usr/bin/env bash
# Asks the build what the library is linked from, and whether the object with the build stamp waits for all the rest.
set -euo pipefail
ninja=$1 build=$2 library=$3

inputs() {
  "$ninja" -C "$build" -t query "$1" | sed -n '/^  input:/,/^  outputs:/p' |
    sed -n '/^    ||/d; s/^    \(| \)\?//p' | sort
}

stamp=$(inputs "$library" | grep 'version\.cpp\.o$')
rest=$(inputs "$library" | grep -Ev 'version\.cpp\.o$|linked_from$')
missing=$(comm -23 <(echo "$rest") <(inputs "$(inputs "$stamp" | grep 'linked_from$')"))
[[ $(grep -c '\.o$' <<<"$rest") -gt 30 ]] || { echo "only these are linked: $rest"; exit 1; }
[[ -z $missing ]] || { echo "the stamp does not wait for: $missing"; exit 1; }
