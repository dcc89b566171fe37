#!/usr/bin/env bash
# Tests qfctl status, cmdline, stage, base-version, hash and log.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

# status: the exit codes.
run 2 qfctl status
run 2 qfctl status show
run 1 qfctl status show --file s; has "$err" 'there is no status file "s"'
run 2 qfctl status set --file s; has "$err" "nothing to set"
run 0 qfctl status set --file s --version 1.0.2 --status init --error-code 3 --error-code -7 --error-code 3
is "$(cat s)" "PatchVersion=1.0.2
Status=init
ErrorCode=3,-7,"
run 0 qfctl status set --file s --status success
run 0 qfctl status show --file s
prints "version      1.0.2
status       success
error codes  3,-7,"
run 0 qfctl status show --file s --json; prints '{"version":"1.0.2","status":"success","errorCodes":[3,-7]}'
run 0 qfctl status set --file s --version ""
run 0 qfctl status show --file s --json; has "$out" '{"version":"","status":"success"'
run 0 qfctl status set --file k --key Mine --status init; is "$(cat k)" "PatchVersion=
Mine=init
ErrorCode="
run 0 qfctl status set --file k --status loaded; has "$(cat k)" Mine=loaded

# status: values that the file can't store are refused before it is written.
before=$(cat s)
run 2 qfctl status set --file s --version $'1\n2'; has "$err" "line feed"
run 2 qfctl status set --file s --version "$(printf %243s)"; has "$err" "a line of 256 bytes"
run 2 qfctl status set --file s --key a=b --status x
run 2 qfctl status set --file s --status x --mode 999
run 2 qfctl status set --file s --error-code 2147483648
for code in 5x 0x10 '' ' 5'; do run 2 qfctl status set --file s --error-code "$code"; done
run 2 qfctl status show --file s --mode xyz
run 2 qfctl status set --file ../tmp/s --status x; has "$err" '".."'; is "$(cat s)" "$before"
for value in "$(printf %242s | tr ' ' v)" 'a=b "q" \ $(x) é€' ' blank ' '[a,b]' -x; do
  run 0 qfctl status set --file s --version="$value"
  run 0 qfctl status show --file s; has "$out" "version      $value
"
done

# status: files that another program has written.
foreign_file() { printf "$3" >s; run "$1" qfctl status "${@:4}" --file s; has "$out$err" "$2"; }  # CODE PART CONTENT COMMAND...
foreign_file 3 'status       a' 'PatchVersion=1\nStatus=a\nErrorCode=1,x\n' show; has "$err" '"1,x"'
run 3 qfctl status show --file s --json; is "$out" ""
foreign_file 3 "was not changed: line 2 has no '='" 'PatchVersion=1\nno sign\n' set --status x
foreign_file 3 'was not changed: line 3 begins with "X"' 'NAME=a\nID=b\nX=c\nmore\n' set --status x
foreign_file 3 "was not changed: it has more than three lines" 'PatchVersion=a\nID=b\nErrorCode=\nmore\n' set --status x
run 0 qfctl status show --file s
foreign_file 3 "line 1 is longer than 255 bytes" "PatchVersion=$(printf %300s)\n" show
foreign_file 0 'version      "a\x1b[2J\xff"' 'PatchVersion=a\e[2J\xff\n' show
run 0 qfctl status show --file s --json; has "$out" '"a\u001b[2J�"'
chmod 000 s
run 3 as_nobody "$QFCTL" status show --file s
run 3 qfctl status show --file /tmp
mkfifo fifo
for path in /tmp fifo /dev/null; do
  run 3 qfctl status clear --file $path
  [[ -e $path ]] || fail "$path was removed"
done
printf 'PatchVersion=a\0b\n' >nul
run 0 qfctl status show --file nul --json; has "$out" '"a�b"'
run 0 qfctl status clear --file s
[[ ! -e s ]] || fail "not cleared"
run 0 qfctl status clear --file s
run 1 qfctl status set --file /nowhere/s --status x; has "$err" "No such file or directory"
run 2 qfctl status set --file "" --status x; has "$err" "name is empty"
if ((EUID != 0)); then
  run 0 qfctl status set --file m --status x --mode 640
  run 0 qfctl status set --file m --status y; is "$(stat -c %a m)" 640
fi

# cmdline, stage, base-version
if cmp -s /proc/cmdline "$PROJECT/tests/data/cmdline"; then
  run 0 qfctl cmdline ab; prints "xab=0"
  run 0 qfctl cmdline quickfix --json; prints '{"token":"quickfix=1"}'
else
  skip "/proc/cmdline is the kernel's"
fi
run 1 qfctl cmdline absent; has "$err" '"absent"'
run 2 qfctl cmdline ""
run 0 qfctl stage; prints "$( ((EUID == 0)) && echo init || echo sa)"
run 0 as_nobody "$QFCTL" stage --json; prints '{"stage":"sa"}'
run 1 qfctl base-version
echo 'ro.comp.kt.product_base_version.real = 5.1' >p
run 3 env QUICKFIX_PARAMETERS=/tmp "$QFCTL" base-version; has "$err" "store can't be read"
run 0 env QUICKFIX_PARAMETERS=p "$QFCTL" base-version; prints "5.1"

# hash: sha256sum -c accepts the output for any file name.
mkdir hashes
for i in {1..200}; do echo "$i" >hashes/"file $i"; done
: >hashes/empty
printf x >$'hashes/line\nfeed'
printf x >'hashes/back\slash'
printf x >$'hashes/carriage\rreturn'
printf x >hashes/é
run 0 qfctl hash hashes/*; prints "$(sha256sum hashes/*)"
printf %s "$out" >sums
run 0 sha256sum -c --strict --quiet sums
run 1 qfctl hash hashes/empty missing; has "$out" "e3b0c44298fc1c14"; has "$err" '"missing": No such file'
run 3 qfctl hash missing /tmp /dev/zero hashes/empty; has "$out" "e3b0c44298fc1c14"
run 0 qfctl hash --json hashes/empty
prints '[{"file":"hashes/empty","sha256":"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"}]'
run 3 qfctl hash /proc/self/mem; is "$out" ""
run 2 qfctl hash

# log: prints the first file, then the second.
rm -f $logs/*
run 1 qfctl log; has "$err" "there is no log"
printf '2026-03-01 09:05:07.004[a(B):12]one\n2026-03-01 09:05:07.005[a(B):13]two]\n' >$logs/quickfix_1.log
printf 'torn' >$logs/quickfix_2.log
run 0 qfctl log; prints '2026-03-01 09:05:07.004[a(B):12]one
2026-03-01 09:05:07.005[a(B):13]two]
torn'
run 0 qfctl log --grep two --json
prints '{"time":"2026-03-01 09:05:07.005","file":"a","function":"B","line":13,"message":"two]"}'
printf 'a\ntorn' >$logs/quickfix_1.log
printf 'b\n' >$logs/quickfix_2.log
run 0 qfctl log; prints 'a
torn
b'
run 1 qfctl log --grep three; is "$out" ""
run 2 qfctl log --clear --follow
run 0 qfctl log --clear
run 0 qfctl log; is "$out" ""
chmod 000 $logs/quickfix_1.log
run 3 as_nobody "$QFCTL" log; has "$err" "Permission denied"
rm -f $logs/*

# log --follow prints each line exactly once, although the log rotates often, its files are emptied, deleted and
# truncated, and the reader of the output is slow.
followed_to() {
  for _ in {1..200}; do
    [[ $(tail -n 1 followed 2>/dev/null) != *"record $1 of"* ]] || return 0
    sleep 0.1
  done
  fail "record $1 was not printed"
}
mkfifo pipe
{ sleep 1; cat >followed; } <pipe &
"$QFCTL" log --follow >pipe &
follower=$!
run 0 "$LOG_WRITER" 1 4000
followed_to 4000
run 0 qfctl log --clear
run 0 "$LOG_WRITER" 4001 4010
followed_to 4010
rm $logs/*
run 0 "$LOG_WRITER" 4011 8000
printf torn >>$logs/quickfix_2.log
sleep 0.3
truncate -s -4 $logs/quickfix_2.log
run 0 "$LOG_WRITER" 8001 8001
followed_to 8001
kill $follower
is "$(grep -o 'record [0-9]*' followed | cut -d ' ' -f 2)" "$(seq 8001)"

finish
