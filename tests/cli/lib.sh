# Sourced by the tests of the host tool. The build's test command sets TESSARY, the tool; SCHEMA_CHECK and SCHEMA, which
# tell whether a text is what docs/report.schema.json says; WITHOUT_ZLIB where the tool was built without it.
set -u
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

finish() { exit $((failures > 0)); }

tessary() { "$TESSARY" "$@"; }

# Of the machine's time, so many times as much where programs run slowly.
seconds() { awk "BEGIN {print $1 * ${PATIENCE:-1}}"; }

# CODE ARGUMENT..: runs the tool, which has to end with CODE; what it wrote is in $work/out and $work/err.
run() {
  local code=$1 got=0
  shift
  tessary "$@" >"$work/out" 2>"$work/err" </dev/null || got=$?
  [ "$got" -eq "$code" ] || fail "tessary $*: exit code $got, not $code: $(head -c 300 "$work/err")"
}

# FILE TEXT
holds() { grep -qF -- "$2" "$work/$1" || fail "no '$2' in $1: $(head -c 600 "$work/$1")"; }
lacks() { ! grep -qF -- "$2" "$work/$1" || fail "'$2' in $1: $(head -c 600 "$work/$1")"; }
empty() { [ ! -s "$work/$1" ] || fail "$1 is not empty: $(head -c 600 "$work/$1")"; }

# The suffix of compressed recordings; none, and the test says so, where the tool cannot compress.
gz=.gz
if [ -n "${WITHOUT_ZLIB:-}" ]; then
  gz=
  echo "Left out: compressed recordings, since the tool was built without zlib."
fi

# WHAT: it said nothing but that samples came late, as they may on a machine that is busy otherwise.
quiet() {
  grep -v 'reading takes too long for an interval' "$work/err" >"$work/said" && fail "$1: $(head -c 600 "$work/said")"
}

# DEFINITION FILE: the whole file is one such document; with --lines every line after the first is.
valid() { "$SCHEMA_CHECK" "$SCHEMA" "$@" || fail "$* is not what the schema says"; }

# Waits for a condition that another process brings about, half a minute at most; without it there is no going on.
until_true() {
  local tries
  for tries in $(seq 1500); do
    "$@" && return
    sleep 0.02
  done
  fail "never: $*"
  finish
}
