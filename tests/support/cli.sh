# For tests of the program: sourced with its path in $QFCTL, in a private root.
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

# run CODE COMMAND...: expects the exit code; leaves the streams in $out and $err.
run() {
  local expected=$1 code=0
  shift
  "$@" >/tmp/.out 2>/tmp/.err </dev/null || code=$?
  out=$(cat /tmp/.out; printf .) err=$(cat /tmp/.err; printf .)
  out=${out%.} err=${err%.}
  ((code == expected)) || fail "exit code $code instead of $expected: $*"
}

qfctl() { "$QFCTL" "$@"; }

# has TEXT PART, is TEXT WHOLE
has() { [[ $1 == *"$2"* ]] || fail "lacks: $2"; }
is() { [[ $1 == "$2" ]] || fail "is not: $2"; }

# prints LINES: standard output is that and a line feed.
prints() { [[ $out == "$1"$'\n' ]] || fail "is not: $1"; }

as_nobody() {
  if ((EUID == 0)); then setpriv --reuid 65534 --clear-groups "$@"; else "$@"; fi
}

# In a user namespace root may be the only user.
as_nobody true 2>/dev/null || { echo "skipped: root cannot become another user here"; exit 77; }

# put PATH CONTENT: a file, with the folders that it needs.
put() { mkdir -p -- "$(dirname -- "$1")" && printf %s "$2" >"$1"; }

# pair LIVE LIVE_CONTENT PATCH_CONTENT
pair() { put "$1" "$2"; put "$overlay$1" "$3"; }

# dump BUNDLE VERSION FLAG [REST]: creates the dump that the fake bm prints for a bundle.
export BM_BUNDLES=/tmp/bundles
dump() {
  mkdir -p $BM_BUNDLES
  printf '{\n  "versionCode": %s,\n  "patch": "%s"\n}%s\n' "$2" "$3" "${4:-}" >"$BM_BUNDLES/$1"
}

# skip REASON: leaves a part out, which shows the whole script as skipped, unless another part fails.
skip() { skipped+="${skipped:+; }$1"; }

on_small_disk() { (($(stat -f -c '%b * %S' $logs) <= 1048576)); }

finish() {
  ((failures == 0)) || exit 1
  [[ -z $skipped ]] || { echo "skipped: $skipped; all else passed"; exit 77; }
  echo "all as expected"
}
