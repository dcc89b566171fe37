#!/usr/bin/env bash
# Tests qfctl with hostile files and faults: a table of setups, commands, exit codes and output.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

# expect CODE PART SETUP COMMAND: runs SETUP in an empty directory, then COMMAND. Expects CODE, and PART in the output
# or the errors; with '!' before PART, expects it in neither.
expect() {
  rm -rf /tmp/files /live $overlay/* $logs/* && mkdir /tmp/files /live && cd /tmp/files || exit 1
  eval "$3"
  run "$1" timeout 20 bash -c "$4"
  case $2 in
    !*) [[ $out$err != *"${2#!}"* ]] || fail "contains ${2#!}: $4" ;;
    *) [[ $out$err == *"$2"* ]] || fail "doesn't contain $2: $4" ;;
  esac
}
export QFCTL overlay logs
PATH=/tmp/path:$PATH
mkdir /tmp/path
ln -s "$QFCTL" /tmp/path/qfctl
unset -f qfctl
export -f put pair

# Characters that are invisible or reorder text. Written as bytes: in the C locale bash doesn't convert code points.
for character in $'\xe2\x80\xae' $'\xe2\x80\xa8' $'\xe2\x80\x8b' $'\xef\xbb\xbf' $'\xe2\x81\xa6' $'\xc2\xad' $'\xf3\xa0\x81\x81'; do
  shown=$(printf %s "$character" | od -An -tx1 | tr -d '\n' | sed 's/ /\\x/g')
  expect 1 "\"/live/a${shown}b\"" "pair '/live/a${character}b' live patch" 'qfctl verify --html page'
  has "$(cat page)" "/live/a${shown}b&quot;</span>"
  [[ $out$(cat page) != *"$character"* ]] || fail "not escaped: $shown"
  expect 0 "\"a${shown}b\"" "printf 'PatchVersion=a%sb\n' '$character' >s" 'qfctl status show --file s'
  expect 0 "a${character}b" "printf 'PatchVersion=a%sb\n' '$character' >s" 'qfctl status show --file s --json'
  expect 2 "a${shown}b" : "qfctl log --a${character}b"
done

# log --follow ends when its output has no reader.
expect 0 former 'printf "former\n" >$logs/quickfix_1.log' 'qfctl log -f | head -n 1'

# log --clear empties only regular files, not targets of links.
expect 1 'it is a symbolic link' 'put precious kept; ln -s $PWD/precious $logs/quickfix_1.log; put $logs/quickfix_2.log x' \
  'qfctl log --clear 2>&1 && exit 9; code=$?; [[ $(<precious) == kept && ! -s $logs/quickfix_2.log ]] && exit $code'
expect 1 "can't be emptied" 'mkfifo $logs/quickfix_1.log' 'qfctl log --clear'
expect 1 'not a regular file' 'mkfifo $logs/quickfix_1.log; exec 7<>$logs/quickfix_1.log' 'qfctl log --clear'
exec 7<&-

# Error codes are 32-bit decimal numbers with commas between them or after each.
codes() { expect "$1" "$2" "printf 'PatchVersion=1\nStatus=a\nErrorCode=%s\n' '$3' >s" 'qfctl status show --file s --json'; }
codes 0 '"errorCodes":[]' ''
codes 0 '"errorCodes":[3,-7,2147483647,-2147483648]' 3,-7,2147483647,-2147483648,
codes 0 '"errorCodes":[7]' 7
for list in 7x,0x10 ' 7' +7 1,,2 , 2147483648 1e3 7.0 $'7\r' 'a,b'; do codes 3 'error codes are not a list of 32-bit integers' "$list"; done

# The parser never interprets a file name or a key as an option or a command.
declare -A shown=([-]=./-)
names=(++ '[a,b]' '[]' '{}' %% "'x'" '"x"' '`x`' =x = hash log verify help --help --json -h -- - -x --json=1 a,b 'a b' '~' '#x' '@x'
  ';x' '(x)' '*')
put_names() { local each; for each in "${names[@]}"; do put "./$each" "$each"; done; }
expect 0 '"file":"++"' 'put_names; put a a' 'qfctl hash --json ++ -- --'
for name in "${names[@]}"; do
  [[ $name == -?* ]] && set -- a -- "$name" || set -- "$name" a
  run 0 qfctl hash "$@"
  (($(grep -cxF "$(printf %s "$name" | sha256sum | cut -d ' ' -f 1)  ${shown[$name]:-$name}" <<<"$out") == 1)) || fail "not hashed: $name"
done
expect 1 '"": No such file' : 'qfctl hash ""'
expect 1 'has no "++"' : 'qfctl cmdline ++'
expect 1 'has no "stage"' : 'qfctl cmdline stage'
expect 1 'has no "--json"' : 'qfctl cmdline -- --json'
expect 2 'not expected: b;' : 'qfctl cmdline a b'
expect 2 'FILE is required' : 'qfctl hash --'
expect 1 'no status file "++"' : 'qfctl status show --file ++'
expect 0 '!qfctl:' 'pair /live/a x x' 'qfctl verify --report ++ --html "[a,b]" && cd / && cat "/tmp/files/++" "/tmp/files/[a,b]"'

# Standard streams may be closed, or may have lost their reader.
record='put $logs/quickfix_1.log "former
"; pair /live/a x x'
for command in 'verify' 'stage' 'hash /live/a' 'log' 'status set --file s --status x'; do
  expect 0 '!qfctl:' "$record" "qfctl $command <&- >/dev/null 2>&-"
done
for command in 'verify' 'verify --json' 'hash /live/a' 'stage' 'log' 'log --follow' '--help'; do
  expect 3 "standard output can't be written" "$record" "qfctl $command >&-"
  [[ $(<$logs/quickfix_1.log) != *pass* ]] || fail "the output is in the log"
done
expect 0 '"total": "30"' 'for i in {1..30}; do pair /live/$(printf %0200d $i) x x; done' \
  'qfctl verify --report r --html p | true; grep -q "<title>" p && cat r'

# command_is NAME SCRIPT: installs SCRIPT as NAME first in PATH.
command_is() { printf '#!/bin/sh\n%s\n' "$2" >"/tmp/path/$1" && chmod +x "/tmp/path/$1"; }

# An unreadable file never passes.
expect 3 'be read' 'put $overlay/proc/1/mem ""' 'qfctl verify'
if [[ -n ${FAULT_INJECTOR:-} ]]; then
  for plan in "fread 1 9 5|" "fread 1 1 5|" "fread 1 9 5|--shell" "fread 1 1 5|--shell" "read 1 9 5|--shell"; do
    expect 3 qfctl: 'pair /live/a live patch' \
      "LD_PRELOAD=$FAULT_INJECTOR QUICKFIX_FAULT='${plan%|*} /tmp/reached' qfctl verify ${plan#*|}"
    rmdir /tmp/reached || fail "no call failed: $plan"
  done
fi
expect 3 'ls did not show the SeLinux value of "/live/a"' \
  'pair /live/a x x; command_is ls "[ \"\$*\" = \"-Z /live/a\" ] || exec /bin/ls \"\$@\""' 'qfctl verify --shell'
expect 3 'ls did not show the RWX value of "/patch_qv/overlay/live/a"' \
  'pair /live/a x x; command_is ls "[ \"\$*\" = \"-l $overlay/live/a\" ] || exec /bin/ls \"\$@\""' 'qfctl verify --shell'
expect 3 '"/live/a" or its patch file changed, or could not be read' \
  'pair /live/a x x; chmod 600 /live/a; command_is ls "[ \$1 != -l ] || exec printf -- -rw; exec /bin/ls \"\$@\""' 'qfctl verify --shell'
expect 3 'is not a regular file' 'ln -sf /dev/zero $logs/quickfix_1.log' 'qfctl log'

# The first ls replaces files after the scan. No shell interprets a new name, and no read blocks.
swap() {
  pair /live/a same same
  command_is ls "[ -e /tmp/files/swapped ] || { : >/tmp/files/swapped
    $1
    } >/dev/null 2>&1; exec /bin/ls \"\$@\""
}
unharmed='qfctl verify --shell; code=$?; [[ ! -e pwned ]] && exit $code'
expect 3 'the overlay changed' "swap 'echo x >\"$overlay/b;touch pwned\"'" "$unharmed"
expect 3 'the overlay changed' "swap 'mkdir \"$overlay/b;touch pwned\"; mv $overlay/live/a \"$overlay/b;touch pwned/a\"'" "$unharmed"
expect 3 'the overlay changed' "swap 'mv $overlay/live/a $overlay/live/b'" 'qfctl verify --shell'
expect 3 '"/live/a" is a pipe' "swap 'rm /live/a; mkfifo /live/a'" 'qfctl verify --shell'
expect 3 '"/live/a" is a pipe' "swap 'rm /live/a; mkfifo /live/a; yes 1<>/live/a &'" 'qfctl verify --shell -v'
expect 3 'could not be read to the end' \
  "swap 'cp /live/a c; rm /live/a; mkfifo /live/a; { sleep 0.3; mv c /live/a; } &'" 'qfctl verify --shell'
((EUID != 0)) || expect 3 '"/live/a" is a pipe, a device' "swap 'ln -sf /dev/zero /live/a'" 'qfctl verify --shell'

# A report goes to the file that its path named at the start. The file keeps its mode and owner, and no temporary file
# remains.
expect 0 '!kept"' "put precious kept; swap 'ln -s precious r'" 'qfctl verify --shell --report r && [[ ! -L r && $(<precious) == kept ]]'
expect 0 '"total": "1"' "mkdir sub other; swap 'mv sub moved; ln -s other sub'" \
  'qfctl verify --shell --report sub/r && cat moved/r && [[ -z $(ls other) ]]'
rm /tmp/path/ls
((EUID != 0)) || expect 0 '640 1234 5678' 'pair /live/a x x; : >r; chmod 640 r; chown 1234:5678 r' \
  'qfctl verify --report r && [[ -s r ]] && stat -c "%a %u %g" r'
((EUID != 0)) || expect 3 'belongs to another user' 'pair /live/a x x; chmod 777 .; : >r; chmod 666 r' \
  'setpriv --reuid 65534 --clear-groups qfctl verify --report r'
for case in '3 nothing 65534 2777 --clear-groups' '3 nothing 5678 777 --clear-groups' \
  '0 65534:5678 65534 777 --groups=5678' '0 65534:5678 5678 2777 --clear-groups'; do
  read -r code part folder mode groups <<<"$case"
  ((EUID != 0)) || expect $code $part "pair /live/a x x; chgrp $folder .; chmod $mode .; : >r; chown 65534:5678 r" \
    "setpriv --reuid 65534 --regid 65534 $groups qfctl verify --report r && stat -c %u:%g r"
done
expect 3 'File too large' 'pair /live/a x x; put $logs/quickfix_1.log ""' \
  'set -o pipefail; { ulimit -f 0; qfctl verify --html r; } 2>&1 | cat; code=$?; [[ -z $(ls -A) ]] && exit $code'
if [[ -n ${FAULT_INJECTOR:-} ]]; then
  for signal in 1 2 15; do
    expect $((128 + signal)) '' 'pair /live/a x x; put r former' \
      "LD_PRELOAD=$FAULT_INJECTOR QUICKFIX_FAULT='fsync 1 1 -$signal /tmp/reached' qfctl verify --report r; exit \$?"
    rmdir /tmp/reached || fail "signal $signal was not sent"
    is "$(ls -A)" r
    has "$(<r)" '"total": "1"'
  done
fi

# Concurrent qfctl processes change a status file one after the other.
both='for i in {1..25}; do qfctl status set --file s --version $i & qfctl status set --file l --status v$i & wait
  [[ $(<s) == "PatchVersion=$i"$'"'\\n'"'"Status=v$i"$'"'\\n'"'ErrorCode= ]] || exit 9; done'
expect 0 '' 'ln -s s l' "$both"
expect 0 '!version      ""' 'put s "PatchVersion=1
Status=a
ErrorCode=
"' 'for i in {1..25}; do qfctl status set --file s --version 1$i & qfctl status show --file s >>shown || exit 9; wait; done
  ! grep -v "^version      1\|^status       a\|^error codes  $" shown'
expect 0 '' 'flock . sleep 1 & sleep 0.2' 'qfctl status set --file s --version 1'
expect 3 'another process holds the lock' 'flock . sleep 12 & sleep 0.2' 'qfctl status set --file s --version 1'
expect 3 "can't be locked: Permission denied" 'mkdir -m 300 d' \
  'cd d; if ((EUID == 0)); then chown 65534 . && setpriv --reuid 65534 --clear-groups qfctl status set --file s --version 1; else
  qfctl status set --file s --version 1; fi'

# An app doesn't count as absent if bm or the shell fails.
dump com.good 7 teklo.app.quickfix
dump com.old 6 teklo.app.quickfix
dump com.latin1 7 teklo.app.quickfix $'\351'
bm_is() {
  local entries
  command_is bm "$2"
  entries=$(printf '{"bundleName": "%s", "versionCode": 7},' $1)
  printf '{"apps": [%s]}' "${entries%,}" >/tmp/apps.json
}
real='exec $PROJECT/scripts/fakes/bm "$@"'
verify='qfctl verify --app --apps /tmp/apps.json'
expect 3 'bm dump -a fails' "bm_is com.good 'exit 1'" "$verify"
expect 3 'bm dump -a fails' 'bm_is com.good "ls $BM_BUNDLES; exit 1"' "$verify"
expect 3 'bm dump -a fails' "bm_is com.good 'kill -XFSZ \$\$; $real'" "env --default-signal=XFSZ $verify"
expect 3 'bm dump -n com.good fails' "bm_is 'com.old com.good' '[ \"\$2 \$3\" != \"-n com.good\" ] || exit 1; $real'" "$verify"
expect 3 'bm dump -n com.good fails' \
  "bm_is com.good '[ \"\$2\" = -n ] || exec echo com.good; echo teklo.app.quickfix versionCode 7; exit 1'" "$verify"
expect 1 'com     PatchFlag' "rm $BM_BUNDLES/*1; bm_is com '[ \"\$2\" = -n ] || exec echo com.x; exit 1'" "$verify"
dump com.latin1 7 teklo.app.quickfix $'\351'
for call in 2 3 4; do  # one of the run's three calls of bm fails: the list or one of two dumps
  expect 3 'of bm about "com.good"' "bm_is com.good 'echo >>calls; [ \$(wc -l <calls) != $call ] || exit 1; $real'" "$verify"
done
expect 0 'com.latin1' "bm_is com.latin1 '$real'" "LC_ALL=C.UTF-8 $verify"
if ((EUID == 0)) && [[ -n ${FAULT_INJECTOR:-} ]]; then  # a sanitizer needs more processes and descriptors
  for limit in -u -n; do
    for number in {1..14}; do
      for command in "$verify" 'qfctl verify'; do
        bm_is 'com.good com.latin1' "$real"
        rm -rf $overlay/* && pair /live/a same same
        code=0
        out=$(as_nobody bash -c "ulimit $limit $number && exec $command" 2>&1) || code=$?
        [[ $code == 0 && $out == *" passed, 0 failed"* ]] || ((code == 3 || code > 125)) || fail "$code with ulimit $limit $number: $command"
      done
    done
  done
fi

finish
