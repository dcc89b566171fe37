#!/usr/bin/env bash
# Makes calls of the C library fail one at a time: qfctl must succeed with its usual output or report an error, and must
# leave valid files.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

calls=('chmod 1' 'fchmod 1' 'fopen 24' 'fread 5' 'fstat 5' 'fsync 5' 'ftruncate 5' 'lstat 5' 'open 24' 'openat 28' 'opendir 24'
  'popen 11' 'pread 5' 'pread 4' 'read 5' 'read 4' 'readdir 5' 'realpath 5' 'remove 30' 'renameat 30' 'stat 5' 'write 28' 'write 4')
reached=0

prepare() {
  rm -rf /tmp/files && mkdir /tmp/files && cd /tmp/files
  put status $'PatchVersion=1\nStatus=init\nErrorCode=3,\n'
  put report former
  rm -f $logs/*
  put $logs/quickfix_1.log $'2026-03-01 09:05:07.004[a(B):12]one\n'
}

# sweep EXIT_CODE COMMAND...: makes each call fail in turn. Expects the usual output with exit code 0, and a message
# with a code above 1.
sweep() {
  local expected=$1 clean plan number code
  shift
  prepare
  run "$expected" "$QFCTL" "$@"
  clean=$out
  for plan in "${calls[@]}"; do
    number=1
    while
      prepare
      code=0
      LD_PRELOAD=$FAULT_INJECTOR QUICKFIX_FAULT="${plan% *} $number 1 ${plan#* } /tmp/reached" "$QFCTL" "$@" \
        >/tmp/.out 2>/tmp/.err </dev/null || code=$?
      [[ -d /tmp/reached ]]
    do
      rmdir /tmp/reached
      out=$(cat /tmp/.out; printf .) err=$(</tmp/.err)
      ((code <= 3)) || fail "exit code $code: $* with $plan at $number"
      ((code != 0)) || [[ $expected$out == "0$clean." ]] || fail "success with other output: $* with $plan at $number"
      ((code <= 1)) || [[ -n $err ]] || fail "exit code $code without a message: $* with $plan at $number"
      [[ ${plan#* } != 4 ]] || ((code == expected)) || fail "other exit code after an interruption: $* with $plan at $number"
      files_are_valid "$code" || fail "exit code $code, wrong files: $(grep -r '' /tmp/files): $* with $plan at $number"
      number=$((number + 1)) reached=$((reached + 1))
    done
  done
}

# files_are_valid EXIT_CODE: checks the files after a run.
files_are_valid() { diff -r /tmp/files /tmp/former >/dev/null; }

prepare
cp -r /tmp/files /tmp/former
for name in a sub/b; do pair "/live/$name" content content; done
chmod 600 /live/sub/b
sweep 0 hash report status
sweep 0 status show --file status
sweep 0 status show --file status --json
sweep 0 log
if cmp -s /proc/cmdline "$PROJECT/tests/data/cmdline"; then
  sweep 0 cmdline quickfix
else
  skip "/proc/cmdline is the kernel's"
fi
sweep 1 verify
chmod 644 /live/sub/b
sweep 0 verify --json

# The report is completely old or completely new, without temporary files.
files_are_valid() {
  [[ $(ls /tmp/files) == $'report\nstatus' ]] || return 1
  [[ $(<report) == '{"Native": '*'"total": "2"'*'"}}' ]] || { (($1 > 1)) && [[ $(<report) == former ]]; }
}
sweep 0 verify --report report
# The metrics contain the exit code of their own run.
files_are_valid() {
  [[ $(ls /tmp/files) == $'report\nstatus' ]] || return 1
  [[ $(<report) == *"exit_code $1"$'\n'*'passed"} 2' ]] || (($1 > 1))
}
sweep 0 verify --metrics report

# The library empties the status file before it writes it: qfctl must report a failed write.
files_are_valid() { (($1 != 0)) || [[ $(<status) == $'PatchVersion=2\nStatus=init\nErrorCode=3,' ]]; }
sweep 0 status set --file status --version 2
files_are_valid() { (($1 != 0)) || [[ ! -e status ]]; }
sweep 0 status clear --file status
files_are_valid() { (($1 != 0)) || [[ -z $(<$logs/quickfix_1.log) ]]; }
sweep 0 log --clear
((reached > 300)) || fail "only $reached calls failed"
finish
