#!/usr/bin/env bash
# Tests the reports of qfctl verify for other programs: JUnit XML, read with junitparser, and metrics.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

PATH="$PROJECT/scripts/fakes:$PATH"
export QUICKFIX_PARAMETERS=/tmp/parameters TZ=Asia/Tokyo
put $QUICKFIX_PARAMETERS 'const.comp.kt.product_base_version.real=5.1 "<&\'
put status $'PatchVersion=1"\\\nStatus=failed\nErrorCode=7,3,7,\n'
put apps.json '{"apps": [{"bundleName": "com.a", "versionCode": 2}, {"bundleName": "com.b", "versionCode": 2}]}'
dump com.a 2 teklo.app.quickfix
dump com.b 1 teklo.app.quickfix
live=247610f4dedd4ab7247d07dbda19c81ca9817f85820742cad49d407ffae9e4ed
patch=a4895eb44afc336fecbba6e520cd67e178dace0276655d102fceffa8e5f70570
system="host=$(uname -n)|base version=5.1 \"<&\\|stage=$([[ $EUID == 0 ]] && echo init || echo sa)|kernel=$(uname -srm)"
system+="|qfctl=$(qfctl --version | cut -d ' ' -f 2)"
pair /good same same
pair '/a "<&>'\' live patch
put $overlay/$'\xef\xbf\xbf' patch  # U+FFFF, which XML can't hold
pair $'/e\e' live patch
pair /secret same same
chmod 000 /secret

read_junit() {
  /usr/bin/python3 - "$1" <<'PYTHON'
import re, sys
from junitparser import JUnitXml
for suite in JUnitXml.fromfile(sys.argv[1]):
    properties = {p.name: p.value for p in suite.properties()}
    time = properties.pop("time")
    assert re.fullmatch(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d \+0900", time), time
    assert suite.timestamp == time[:19].replace(" ", "T") and suite.hostname == properties["host"]
    print(suite.name, suite.tests, suite.failures, suite.errors, "|".join(map("=".join, properties.items())))
    for case in sorted(suite, key=lambda case: case.name):
        assert case.classname == suite.name
        print(case.name, *(f"{type(r).__name__} {r.message}\n{r.text}".rstrip() for r in case.result))
PYTHON
}

mkdir -m 777 out
if /usr/bin/python3 -c 'import junitparser' 2>/dev/null; then
  run 3 as_nobody "$QFCTL" verify --junit out/junit
  run 0 read_junit out/junit
  is "$out" "native 5 3 1 ${system/stage=init/stage=sa}
\"/\\xef\\xbf\\xbf\" Failure SHA256, RWX, SeLinux
SHA256: live (none), patch $patch
RWX: live (none), patch -rw-r--r--
SeLinux: live (none), patch $(ls -Zd $overlay | cut -d " " -f 1)
\"/e\\x1b\" Failure SHA256
SHA256: live $live, patch $patch
/a \"<&>' Failure SHA256
SHA256: live $live, patch $patch
/good
/secret Error SHA256, RWX
SHA256: live (unreadable), patch $(sha256sum $overlay/secret | cut -c -64)
RWX: live ----------, patch -rw-r--r--
"
  run 1 qfctl verify --app --apps apps.json --junit out/junit
  run 0 read_junit out/junit
  is "$out" "app 2 1 0 $system
com.a
com.b Failure Version
Version: live 1, patch 2
"
else
  skip "python3-junitparser is missing"
fi

# metrics: stores the samples of out/metrics in $out, except the info metrics, and except time and duration, which it
# checks itself.
metrics() {
  local now began
  now=$(date +%s) began=$(sed -n 's/^quickfix_verify_last_run_timestamp_seconds //p' out/metrics)
  ((now - began >= 0 && now - began < 60)) || fail "began at $began, now $now"
  grep -Eqx 'quickfix_verify_duration_seconds [0-9]+\.[0-9]{6}' out/metrics || fail "no duration"
  out=$(grep -Ev '^#|_info|_seconds' out/metrics | sed 's/quickfix_verify_//')
}

chmod 644 /secret
run 1 qfctl verify --apps apps.json --metrics out/metrics --status-file status
has "$(<out/metrics)" 'base_version="5.1 \"<&\\",stage='
has "$(<out/metrics)" 'quickfix_verify_patch_info{patch_version="1\"\\",status="failed"} 1'
metrics
is "$out" 'exit_code 1
items{run="native",verdict="failed"} 3
items{run="native",verdict="inconclusive"} 0
items{run="native",verdict="passed"} 2
items{run="app",verdict="failed"} 1
items{run="app",verdict="inconclusive"} 0
items{run="app",verdict="passed"} 1
patch_error_codes 2
patch_error_code{code="3"} 1
patch_error_code{code="7"} 1'

# If a run or a report fails, the metrics hold the exit code but no counts.
put broken.json '{}'
put other $'NAME=x\n'
cp out/metrics former
for case in '2 verify --apps broken.json' '3 verify --report /nowhere/report' '3 verify --shell'; do
  cp former out/metrics
  run ${case%% *} qfctl ${case#* } --metrics out/metrics
  metrics
  is "$out" "exit_code ${case%% *}"
done
for file in absent other; do
  run 3 qfctl verify --native --metrics out/metrics --status-file $file; has "$err" "\"$file\""
  metrics
  is "${out%%failed*}" $'exit_code 3\nitems{run="native",verdict="'
done
run 3 qfctl verify --metrics /nowhere/metrics; is "$out" ""
mkdir gone
run 3 bash -c "cd gone; rmdir ../gone; exec $QFCTL verify --metrics $PWD/out/metrics --junit relative"$'\e'
has "$err" 'relative\x1b'
metrics
is "$out" "exit_code 3"
mkdir -m 0 closed
run 3 as_nobody "$QFCTL" verify --junit closed/a --report closed/b; has "$err" "Permission denied"
put former.xml former
run 3 qfctl verify --shell --junit former.xml; is "$(<former.xml)" former
run 2 qfctl verify --status-file status; has "$err" "--metrics"
run 2 qfctl verify --metrics status --status-file ./status; has "$err" 'the same file: "status"'

# --failures omits passed items from the table only.
run 1 qfctl verify --apps apps.json --failures --html page; [[ $out != *pass\ * ]] || fail "the table shows passed items"
has "$out" $'5 files: 2 passed, 3 failed\n\nVERDICT  BUNDLE  '
has "$(<page)" '>/good<'
has "$(<page)" '<dt>base version</dt><dd>5.1 &quot;&lt;&amp;\</dd>'
rm $overlay/*[!d]
pair /good same same
run 0 qfctl verify --failures; prints "1 file: 1 passed, 0 failed"
run 2 qfctl verify --failures --json
finish
