#!/usr/bin/env bash
# Tests qfctl verify: options, exit codes, table, JSON report and unusual names.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

# Usage errors, and an overlay that is empty or missing.
run 0 qfctl --help
run 0 qfctl --version
run 2 qfctl; has "$err" "A subcommand is required"
run 2 qfctl nonsense; has "$err" '"nonsense"'
run 2 qfctl verify --nonsense; has "$err" --nonsense
run 2 qfctl verify --report
run 2 qfctl verify --report ""; has "$err" "name is empty"
run 3 qfctl verify; has "$err" "there is no file below /patch_qv/overlay"
run 3 qfctl verify --json; is "$out" ""
rm -r $overlay
run 3 qfctl verify; has "$err" "No such file or directory"

# The table and the exit codes of a run.
pair /a same same
run 0 qfctl verify
run 3 bash -c "$QFCTL verify >/dev/full"
pair /x live patch
chmod 600 /x
put $overlay/gone patch
run 1 qfctl verify; is "$err" ""  # a missing live file is a difference, not an error
has "$out" "VERDICT  LIVE PATH  CHECK    LIVE             PATCH
"
has "$out" "FAIL     /x         SHA256   247610f4dedd...  a4895eb44afc...
                    RWX      -rw-------       -rw-r--r--
"
has "$out" "FAIL     /gone      SHA256   (none)           a4895eb44afc...
"
has "$out" "
3 files: 1 passed, 2 failed
"

# Widths are in terminal columns: 日 takes two, a combining accent none.
pair /日本é live patch
run 1 qfctl verify
has "$out" "FAIL     /日本é     SHA256   247610f4dedd...  a4895eb44afc...
"
rm $overlay/日本*

# The report object is the fragment enclosed in braces. Standard output and the file get the same text.
run 1 qfctl verify --json --report report.json; prints "$(cat report.json)"; is "$err" ""
has "$out" '{"Native": {"description":  "Compare the results of patch_file and patched_file.Verify SHA256, RWX, Selinux.","detail": {"/'
has "$out" '"/a": "true"'
has "$out" '},"test_native_result": "false","total": "3","success": "1","failed": "2"}}'
# For a live directory, ls -l prints a line feed, which a JSON string must escape.
mkdir /folder
put $overlay/folder patch
run 1 qfctl verify --shell --json; has "$out" 'RWX=total 0\u000a,SeLinux=.patch_qv:'
run 1 qfctl verify --shell; has "$out" '"total 0\n"'
run 1 qfctl verify --json; has "$out" '"/folder": "false,source:SHA256=,RWX=drwxr-xr-x.patch_qv:SHA256='
rm -r $overlay/x $overlay/gone $overlay/folder

# If writing a report fails, the old file stays. A path that can't be written is refused before the run.
put $logs/report former
if on_small_disk; then
  cat /dev/zero >$logs/filler 2>/dev/null
  run 3 qfctl verify --report $logs/report; has "$err" "No space left on device"
  has "$out" "1 file: 1 passed, 0 failed"
  is "$(cat $logs/report)" former
  rm $logs/filler
else
  skip "there is no small disk to fill"
fi
is "$(ls $logs)" "quickfix_1.log
report"
ln -s $logs/report link
run 0 qfctl verify --report link
[[ -L link ]] || fail "the link was replaced"
has "$(cat $logs/report)" '{"Native"'
ln -s /nowhere dangling
for path in /dev/null /tmp /nowhere/report dangling; do run 3 qfctl verify --report $path; is "$out" ""; done

# With --shell, names that a shell would interpret or split are refused, and no part of them is executed.
names=('a b' $'a\tb' $'a\nb' 'a;touch${IFS}pwned' '$(touch pwned)' '`touch pwned`' 'a|b' 'a&b' 'a>pwned' 'a<b' 'a(b' 'a*'
  'a?' '[a]' '{a,b}' "a'b" 'a"b' 'a\b' '~' '#' 'a!' $'a\e[2J' $'a\x7f' $'a\xff' $'a\xc2\x9b' $'a\xc0\xaf'
  $'a\xed\xa0\x80' $'a\xe2\x82')
for name in "${names[@]}"; do
  for path in "$overlay/$name" "$overlay/sub/$name"; do
    put "$path" x
    run 3 qfctl verify --shell; is "$out" ""
    [[ $err != *[$'\t\e\x7f\x80'-$'\xff']* ]] || fail "not escaped: $path"
    rm -- "$path"
    mkdir -- "$path"
    run 3 qfctl verify --shell
    rmdir -- "$path"
  done
done
put $overlay/$'a\n"\e\\' x
run 3 qfctl verify --shell; has "$err" '  "/patch_qv/overlay/a\n\"\x1b\\"
'
rm $overlay/$'a\n"\e\\'
# Without --shell, all names are verified, and escaped in the output and in the reports.
for name in "${names[@]}"; do
  pair "/odd/$name" same same
  pair "/odd/sub/$name/file" live patch
done
run 1 qfctl verify --report odd.json --html odd.html
has "$out" ": $((${#names[@]} + 1)) passed, ${#names[@]} failed
"
has "$out" 'FAIL     "/odd/sub/a\xff/file"'
[[ $out != *[$'\t\e\x7f\x80'-$'\xff']* ]] || fail "not escaped"
for entry in '"/odd/a b": "true"' '"/odd/a\"b": "true"' '"/odd/a\\b": "true"' '"/odd/a\u000ab": "true"' \
  '"\"/odd/a\\xff\"": "true"' '"/odd/sub/a\u001b[2J/file": "false,source:SHA256=2'; do
  has "$(cat odd.json)" "$entry"
done
has "$(cat odd.html)" '>/odd/a&quot;b<'
has "$(cat odd.html)" '>&quot;/odd/a\xff&quot;<'
rm -r $overlay/odd
[[ -z $(find / -xdev -name pwned) ]] || fail "a shell executed a part of a name"
for name in lib-1.2_3+x.so.4 a=b,c:d@e%f $'\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80' -l; do
  pair /$name same same
done
run 0 qfctl verify; has "$out" $'pass     /\xc3\xa9\xe2\x82\xac'

# Files that can't be compared never pass.
put $overlay/pipe x
mkfifo /pipe
run 3 qfctl verify --shell; has "$err" '"/pipe" is a pipe, a device'
run 1 timeout 5 "$QFCTL" verify; has "$out" 'RWX     prw-r--r--  -rw-r--r--'
rm $overlay/pipe
mkdir -m 0 $overlay/locked
run 3 as_nobody "$QFCTL" verify; has "$err" "the folder \"$overlay/locked\" can't be read: Permission denied"
rmdir $overlay/locked
pair /secret live patch
chmod 0 /secret $overlay/secret
for option in '' --shell; do  # two unreadable digests are equal but prove nothing
  run 3 as_nobody "$QFCTL" verify $option
  has "$err" "\"/secret\" can't be read: Permission denied"
  has "$err" "\"$overlay/secret\" can't be read: Permission denied"
done
mkdir -m 777 page
run 3 as_nobody "$QFCTL" verify --html page/html
has "$out" "inconclusive  /secret            SHA256  (unreadable)  (unreadable)"
has "$out" " passed, 0 failed, 1 inconclusive
"
has "$(cat page/html)" '<span class="none">unreadable</span>'
rm -f $overlay/secret
run 0 env PATH=/nowhere "$QFCTL" verify
run 3 env PATH=/nowhere "$QFCTL" verify --shell; has "$err" "the command ls can't be run"

# Records need -v; progress and colours need a terminal.
rm -r $overlay/*
pair /a live patch
run 1 qfctl verify; is "$err" ""
run 1 qfctl verify -v; has "$err" "D002E03 QuickFixUitls: [test_manager(CheckNativePatch):"
has "$err" "(GetFileProp):"  # includes debug records
run 1 script -qec "$QFCTL verify" /dev/null; has "$out" $'\r[1] /a\e[K\r\e[K'; has "$out" $'\e[31mFAIL'
run 1 env NO_COLOR=1 script -qec "$QFCTL verify" /dev/null; has "$out" $'\nFAIL     /a'

finish
