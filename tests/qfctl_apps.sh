#!/usr/bin/env bash
# Tests qfctl verify --apps and --html.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

PATH="$PROJECT/scripts/fakes:$PATH"
dump com.example.good 1000001 teklo.app.quickfix
dump com.example.noflag 1000001 none
dump com.example.old 1000000 teklo.app.quickfix
list() { printf '{"apps": [%s]}' "$1" >apps.json; }
entry() { printf '{"bundleName": "%s", "versionCode": %s}' "$1" "$2"; }

# Invalid lists are refused before any command runs, and the message names the entry.
run 2 qfctl verify --app; has "$err" "--app needs --apps"
run 2 qfctl verify --app --native --apps apps.json
run 3 qfctl verify --app --apps missing.json; has "$err" "No such file"
good=$(entry com.example.good 1)
refused() {  # CONTENT MESSAGE
  printf %s "$1" >apps.json
  run 2 qfctl verify --app --apps apps.json; has "$err" "$2"; is "$out" ""
}
refused "" "it is not valid JSON"
refused '{"apps": []} more' "it is not valid JSON"
refused '{"apps": {}}' 'it has no array "apps"'
refused '[]' 'it has no array "apps"'
for twice in '"apps": [], "apps"' '"Apps": [], "apps"' '"apps": [], "APPS"' '"Apps"' '"other"'; do
  refused "{$twice: [$good]}" "apps is missing, misspelt or given twice"
done
refused "{\"apps\": [$good, 7]}" "entry 2: it is not an object"
refused '{"apps": [{"bundleName": 7, "versionCode": 1}]}' "entry 1: bundleName is not a string"
refused '{"apps": [{"bundleName": "a"}]}' "entry 1: versionCode is missing"
refused '{"apps": [{"bundleName": "a", "versionCode": "1"}]}' "entry 1: versionCode is not a number"
refused '{"apps": [{"bundleName": "a", "bundleName": "b;id", "versionCode": 1}]}' "bundleName is missing, misspelt or"
refused '{"apps": [{"BundleName": "a", "versionCode": 1}]}' "bundleName is missing, misspelt or"
refused '{"apps": [{"bundleName": "a\u0000;id", "versionCode": 1}]}' "it is not valid JSON"
for code in -1 1.5 2147483648 1e10; do
  refused "{\"apps\": [$(entry a $code)]}" "not an integer from 0 to 2147483647"
done
for name in '' 'a b' "a'b" 'a;b' '$(touch pwned)' -rf é 'a\\b' 'a\nb'; do
  refused "{\"apps\": [$(entry "$name" 1)]}" "entry 1: bundleName "
done
refused "{\"apps\": [$good, $good]}" 'entry 2: the bundle "com.example.good" is named twice'
[[ ! -e pwned ]] || fail "a shell executed a part of a name"
mkfifo fifo
run 3 qfctl verify --app --apps fifo; has "$err" "not a regular file"
list "$good"
for option in --report --html; do
  run 2 qfctl verify --app --apps apps.json $option ./apps.json; has "$err" "two options name the same file"
done
list ""
run 3 qfctl verify --app --apps apps.json; has "$err" "the list of apps is empty"

# App runs, alone and after native runs.
list "$good, $(entry com.example.good2 1)"
dump com.example.good2 2147483647 teklo.app.quickfix
run 0 qfctl verify --app --apps apps.json
prints "VERDICT  BUNDLE             CHECK  LIVE  PATCH
pass     com.example.good
pass     com.example.good2

2 apps: 2 passed, 0 failed"
run 3 qfctl verify --apps apps.json; has "$err" "there is no file"
pair /a same same
run 0 qfctl verify --apps apps.json
run 0 env PATH=/usr/bin:/bin "$QFCTL" verify --native --apps apps.json
run 3 env PATH=/usr/bin:/bin "$QFCTL" verify --apps apps.json; has "$err" "the command bm is not in PATH"; is "$out" ""
dump com.example.good.more 1 teklo.app.quickfix
list "$good"
run 1 qfctl verify --app --apps apps.json; has "$out" "Installed  (none)  yes"  # a bundle found twice counts as absent
rm $BM_BUNDLES/com.example.good.more
mkdir -p /tmp/path/bm
run 3 env PATH=/tmp/path:/usr/bin:/bin "$QFCTL" verify --app --apps apps.json; has "$err" "bm is not in PATH"
list "$good, $(entry com.example.gone 1000001), $(entry com.example.noflag 1), $(entry com.example.old 1000001)"
pair '/b+c' live patch
run 1 qfctl verify --apps apps.json; has "$out" 'FAIL     com.example.gone    Installed  (none)   yes
                             PatchFlag  (none)   teklo.app.quickfix
                             Version    0        1000001
'
has "$out" "4 apps: 1 passed, 3 failed"
run 1 qfctl verify --apps apps.json --json --html page.html --report report.json; prints "$(cat report.json)"
has "$out" '"},"Qen": {"description": "Compare'
has "$out" '"com.example.old": "false,RunTimes Version=1000000,PatchPakage Version=1000001"'

# The page shows the counts, then the failures with their values. It loads no other file.
out=$(<page.html)
has "$out" '<title>Patch verification: 2 passed, 4 failed</title>'
has "$out" '<li class="passed"><b>2</b>passed</li><li class="failed"><b>4</b>failed</li>'
has "$out" '<span class="name">/b+c</span><table>'
has "$out" 'data-side="live">100000<mark>0</mark></td><td data-side="patch">100000<mark>1</mark></td>'
first=${out%%class=\"item passed*}
for name in /b+c com.example.gone com.example.noflag com.example.old; do has "$first" "$name"; done
has "$out" '<p>Native files: 1 of 2 passed</p>'
[[ $(grep -cE 'https?://|<link|@import|src=' page.html) == 0 ]] || fail "the page loads other files"

finish
