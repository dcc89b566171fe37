#!/usr/bin/env bash
# qfctl tells the truth under every fault: a table of set-ups, commands, exit codes and what is printed.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

logs=/data/update/quickfix/log

# expect CODE PART SET_UP COMMAND: in an empty folder, after SET_UP, COMMAND ends with CODE, and PART is in what it
# prints on either stream; a PART that begins with '!' is not.
expect() {
  rm -rf /tmp/files /live $overlay/* $logs/* && mkdir /tmp/files /live && cd /tmp/files || exit 1
  eval "$3"
  run "$1" timeout 20 bash -c "$4"
  case $2 in
    !*) [[ $out$err != *"${2#!}"* ]] || fail "holds ${2#!}: $4" ;;
    *) [[ $out$err == *"$2"* ]] || fail "lacks $2: $4" ;;
  esac
}
export QFCTL overlay logs
PATH=/tmp/path:$PATH
mkdir /tmp/path
ln -s "$QFCTL" /tmp/path/qfctl
unset -f qfctl
export -f put pair

# Characters that nobody sees, or that reorder what stands around them.
for character in $'\u202e' $'\u2028' $'\u200b' $'\ufeff' $'\u2066' $'\u00ad' $'\U000e0041'; do
  shown=$(printf %s "$character" | od -An -tx1 | tr -d '\n' | sed 's/ /\\x/g')
  expect 1 "\"/live/a${shown}b\"" "pair '/live/a${character}b' live patch" 'qfctl verify --html page'
  has "$(cat page)" "/live/a${shown}b&quot;</span>"
  [[ $out$(cat page) != *"$character"* ]] || fail "shown as it is: $shown"
  expect 0 "\"a${shown}b\"" "printf 'PatchVersion=a%sb\n' '$character' >s" 'qfctl status show --file s'
  expect 0 "a${character}b" "printf 'PatchVersion=a%sb\n' '$character' >s" 'qfctl status show --file s --json'
  expect 2 "a${shown}b" : "qfctl log --a${character}b"
done

# Following ends with its reader.
expect 0 former 'printf "former\n" >$logs/quickfix_1.log' 'qfctl log -f | head -n 1'

# The log is emptied where it is a file of its own.
expect 1 'it is a link' 'put precious kept; ln -s $PWD/precious $logs/quickfix_1.log; put $logs/quickfix_2.log x' \
  'qfctl log --clear 2>&1 && exit 9; code=$?; [[ $(<precious) == kept && ! -s $logs/quickfix_2.log ]] && exit $code'
expect 1 "can't be emptied" 'mkfifo $logs/quickfix_1.log' 'qfctl log --clear'
expect 1 'not a regular file' 'mkfifo $logs/quickfix_1.log; exec 7<>$logs/quickfix_1.log' 'qfctl log --clear'
exec 7<&-

# Codes are decimal numbers of 32 bits with commas between or behind them.
codes() { expect "$1" "$2" "printf 'PatchVersion=1\nStatus=a\nErrorCode=%s\n' '$3' >s" 'qfctl status show --file s --json'; }
codes 0 '"errorCodes":[]' ''
codes 0 '"errorCodes":[3,-7,2147483647,-2147483648]' 3,-7,2147483647,-2147483648,
codes 0 '"errorCodes":[7]' 7
for list in 7x,0x10 ' 7' +7 1,,2 , 2147483648 1e3 7.0 $'7\r' 'a,b'; do codes 3 'error codes are no list of numbers' "$list"; done

# No file's name, and no key, means anything to the parser.
declare -A shown=([-]=./-)
names=(++ '[a,b]' '[]' '{}' %% "'x'" '"x"' '`x`' =x = hash log verify help --help --json -h -- - -x --json=1 a,b 'a b' '~' '#x' '@x'
  ';x' '(x)' '*')
odd() { local each; for each in "${names[@]}"; do put "./$each" "$each"; done; }
expect 0 '"file":"++"' 'odd; put a a' 'qfctl hash --json ++ -- --'
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

# Standard streams that are closed, or closed by their reader.
record='put $logs/quickfix_1.log "former
"; pair /live/a x x'
for command in 'verify' 'stage' 'hash /live/a' 'log' 'status set --file s --status x'; do
  expect 0 '!qfctl:' "$record" "qfctl $command <&- >/dev/null 2>&-"
done
for command in 'verify' 'verify --json' 'hash /live/a' 'stage' 'log' 'log --follow' '--help'; do
  expect 3 "standard output can't be written" "$record" "qfctl $command >&-"
  [[ $(<$logs/quickfix_1.log) != *pass* ]] || fail "the log holds what was printed"
done
expect 0 '"total": "1"' "$record" 'qfctl verify --report r --html p | true; grep -q "<title>" p && cat r'

finish
