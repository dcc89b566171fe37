# Functions for tests of qfctl. A test sources this file in a private root, with the program's path in $QFCTL.
set -uo pipefail

overlay=/patch_qv/overlay
logs=/data/update/quickfix/log
failures=0
skipped=
cd /tmp

fail() {
  printf 'FAILED line %s: %s\n  output: %s\n  errors: %s\n' "${BASH_LINENO[1]}" "$1" "$out" "$err"
  failures=$((failures + 1))
}

# run CODE COMMAND...: expects the exit code, and stores the streams in $out and $err.
run() {
  local expected=$1 code=0
  shift
  "$@" >/tmp/.out 2>/tmp/.err </dev/null || code=$?
  out=$(cat /tmp/.out; printf .) err=$(cat /tmp/.err; printf .)
  out=${out%.} err=${err%.}
  ((code == expected)) || fail "exit code $code instead of $expected: $*"
}

qfctl() { "$QFCTL" "$@"; }

# has TEXT PART: expects PART in TEXT. is TEXT EXPECTED: expects equal texts.
has() { [[ $1 == *"$2"* ]] || fail "doesn't contain: $2"; }
is() { [[ $1 == "$2" ]] || fail "instead of: $2"; }

# prints LINES: expects LINES and a line feed on standard output.
prints() { [[ $out == "$1"$'\n' ]] || fail "instead of: $1"; }

as_nobody() {
  if ((EUID == 0)); then setpriv --reuid 65534 --clear-groups "$@"; else "$@"; fi
}

# Skips the test if root is the only user of its user namespace.
as_nobody true 2>/dev/null || { echo "skipped: root cannot become another user here"; exit 77; }

# put PATH CONTENT: creates the directories of a file and writes the file.
put() { mkdir -p -- "$(dirname -- "$1")" && printf %s "$2" >"$1"; }

# pair LIVE LIVE_CONTENT PATCH_CONTENT: writes a live file and its patch file.
pair() { put "$1" "$2"; put "$overlay$1" "$3"; }

# dump BUNDLE VERSION FLAG [REST]: creates the dump that the fake bm prints for a bundle.
export BM_BUNDLES=/tmp/bundles
dump() {
  mkdir -p $BM_BUNDLES
  printf '{\n  "versionCode": %s,\n  "patch": "%s"\n}%s\n' "$2" "$3" "${4:-}" >"$BM_BUNDLES/$1"
}

# skip REASON: records that a part was not run. finish then reports the script as skipped unless a part failed.
skip() { skipped+="${skipped:+; }$1"; }

on_small_disk() { (($(stat -f -c '%b * %S' $logs) <= 1048576)); }

finish() {
  ((failures == 0)) || exit 1
  [[ -z $skipped ]] || { echo "skipped: $skipped; all other parts passed"; exit 77; }
  echo "all as expected"
}
