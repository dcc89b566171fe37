#!/usr/bin/env bash
# Tests qfctl doctor: it reports each fault in one line, changes nothing and never blocks.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

engine=/data/update/quickfix
status=/tmp/status
export QUICKFIX_EVENT_BUS=unix:path=/tmp/bus QUICKFIX_PARAMETERS=/tmp/parameters PATH=/tmp/bin:$PATH

# start_bus POLICY: restarts the bus with a policy that allows all, followed by POLICY. Returns when it listens.
start_bus() {
  kill -KILL "${bus:-}" 2>/dev/null
  put /tmp/bus.conf "<busconfig><type>system</type><listen>$QUICKFIX_EVENT_BUS</listen><auth>EXTERNAL</auth>
    <policy context='default'><allow user='*'/><allow own='*'/>
    <allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/>$1</policy></busconfig>"
  exec 8< <(exec dbus-daemon --config-file=/tmp/bus.conf --nofork --nopidfile --print-address 2>/tmp/bus.err)
  bus=$!
  read -r -u 8 _ || fail "no bus: $(cat /tmp/bus.err)"
}

# own_name: lets a program of another user own the name of the event service. Its file name has a control sequence.
own_name() {
  cp "$DOCTOR_RIG" $'/tmp/own\e[2J'
  exec 7< <(exec setpriv --reuid 65534 --clear-groups $'/tmp/own\e[2J')
  owner=$!
  read -r -u 7 _ || fail "the program doesn't own the name"
}

# replace PATH COMMAND...: moves PATH away and runs COMMAND PATH. restore PATH undoes it.
replace() { mv "$1" "$1.away" && { (($# == 1)) || "${@:2}" "$1"; }; }
restore() { rm -rf "$1" && mv "$1.away" "$1"; }
bm() { printf '#!/bin/sh\n%s\n' "$1" >"$2" && chmod 755 "$2"; }
fifo_log() { mkdir "$1" && mkfifo $logs; }

# finds CODE STATE NAME PART: expects CODE and a line with STATE, NAME and PART, and advice unless STATE is ok.
finds() {
  run "$1" "${as[@]}" "$QFCTL" doctor --status-file $status
  line=$(grep -E "^$2 +$3 " <<<"$out") || fail "no line: $2 $3"
  has "$line" "$4"
  [[ $2 == ok || $line == *"; "* ]] || fail "no advice: $line"
  [[ $out != *$'\e'* ]] || fail "prints a control sequence"
}

# finds_each ROWS: runs finds for each row of CODE|STATE|NAME|PART|SETUP|UNDO.
finds_each() {
  local code state name part setup undo
  while IFS='|' read -r -u 5 code state name part setup undo; do
    eval "$setup"
    finds "$code" "$state" "$name" "$part"
    eval "$undo"
  done 5<<<"$1"
}

out= err= as=()
start_bus ''
mkdir -p /tmp/bin $logs
cp "$PROJECT/scripts/fakes/bm" /tmp/bin
dump com.example.one 1 ''
dump com.example.two 1 ''
put $overlay/system/bin/a a
put $QUICKFIX_PARAMETERS $'ro.comp.kt.product_base_version.real = 5\e\n'
run 0 qfctl status set --file $status --version 1 --status $'in\e' --error-code 3

# state: prints everything that doctor must not change.
state() { ls -lR --time-style=full-iso /data /patch_qv /tmp/parameters $status; cat $logs/*; }
before=$(state)
finds_each '0|ok|log-folder|is writable|
0|ok|quickfix_1.log|bytes, owner|
0|ok|quickfix_2.log|not written yet|
0|ok|overlay|: 1|
0|ok|bm|lines: 2|
0|ok|base-version|"5\x1b", from ro.|
0|ok|event-reception|trial event|
0|ok|event-service|nobody owns|
0|ok|event-publishing|may own|
0|ok|status-file|version 1, status "in\x1b", error codes 3,|'
[[ $before == "$(state)" ]] || fail "doctor changed something"
run 0 qfctl doctor --json
[[ $out == '{"checks":[{"name":"log-folder","state":"ok",'* ]] || fail "no list of checks"
has "$out" '{"name":"bm","state":"ok","text":"bm dump -a answers, lines: 2","advice":""}'
run 2 qfctl doctor --status-file ''

# cat ends when no process has the pipe open. `wait $reader` returns only after all processes of bm have ended.
mkfifo /tmp/alive
cat /tmp/alive >/tmp/.alive &
reader=$!
finds_each '1|error|log-folder|No such file|replace $engine|restore $engine
1|error|log-folder|is not a directory|replace $engine fifo_log|restore $engine
1|error|quickfix_2.log|not a regular file|mkfifo $logs/quickfix_2.log|rm $logs/quickfix_2.log
0|warning|quickfix_2.log|symbolic link|ln -s /tmp/alive $logs/quickfix_2.log|rm $logs/quickfix_2.log
0|warning|overlay|No such file|replace $overlay|restore $overlay
1|error|overlay|is not a directory|replace $overlay mkfifo|restore $overlay
0|warning|overlay|no regular file|replace $overlay mkdir|restore $overlay
0|warning|overlay|the first is "/patch_qv/overlay/a\x1b b"|put $overlay/a$'"'\e'"'" b" ""|rm $overlay/a*
0|warning|bm|not in PATH|replace /tmp/bin/bm mkfifo|restore /tmp/bin/bm
1|error|bm|exit code 3|replace /tmp/bin/bm bm "exit 3"|restore /tmp/bin/bm
1|error|bm|signal 9|replace /tmp/bin/bm bm "kill -KILL \$\$"|restore /tmp/bin/bm
1|error|bm|within 5 seconds|replace /tmp/bin/bm bm "exec 9>/tmp/alive; sleep 1000 & exec sleep 1000"|restore /tmp/bin/bm
0|warning|commands|grep, egrep, tail|mkdir /tmp/few; ln -s "$(type -P ls)" /tmp/few; as=(env PATH=/tmp/few)|as=()
0|warning|commands|not in PATH: ls|as=(env PATH=/tmp/none)|as=()
0|warning|parameters|No such file|replace /tmp/parameters|restore /tmp/parameters
1|error|parameters|not a regular file|replace /tmp/parameters mkfifo|restore /tmp/parameters
0|warning|base-version|no base version|replace /tmp/parameters touch|restore /tmp/parameters
0|warning|status-file|does not exist|replace $status|restore $status
1|error|status-file|not a regular file|replace $status mkfifo|restore $status
1|error|status-file|begins with "X"|replace $status; echo X=1 >$status|restore $status
1|error|bus|Connection timed out|kill -STOP $bus|kill -CONT $bus
1|error|bus|can'"'"'t be reached|address=$QUICKFIX_EVENT_BUS; QUICKFIX_EVENT_BUS=unixexec:path=/bin/sleep,argv1=1000|QUICKFIX_EVENT_BUS=$address
1|error|event-reception|may not subscribe|start_bus "<deny send_interface=\"org.freedesktop.DBus\" send_member=\"AddMatch\"/>"|
0|warning|event-reception|trial event|start_bus "<deny receive_interface=\"teklo.CommonEvent\"/>"|
0|warning|event-publishing|may not own|start_bus "<deny own=\"teklo.CommonEventService\"/>"|
3|unknown|event-service|the bus does not answer the query|start_bus "<deny send_interface=\"org.freedesktop.DBus\" send_member=\"GetNameOwner\"/>"|start_bus ""'
wait $reader

if on_small_disk; then
  finds_each '1|error|log-space|0 KiB free|cat /dev/zero >$logs/full 2>/tmp/.full|
0|warning|log-space|free 24 KiB more|truncate -s -100K $logs/full|rm $logs/full'
else
  skip "the log directory is not on a small disk"
fi
if ((EUID == 0)); then
  if "$DOCTOR_RIG" $overlay u:object_r:patch:s0; then
    finds 0 warning labels "/ has no SELinux label"
    "$DOCTOR_RIG" $overlay "$(printf %02000d 0)"
    finds 0 warning labels "/ has no SELinux label"
    "$DOCTOR_RIG" $overlay ''
    finds 0 warning labels "no SELinux labels"
  else
    skip "setting a label is not permitted"
  fi
  finds_each '0|warning|quickfix_1.log|unlike the folder|chown 65534 $logs/quickfix_1.log|chown 0 $logs/quickfix_1.log
0|warning|event-service|user 65534, program "/tmp/own\x1b[2J"|own_name|kill -KILL $owner'
else
  skip "changing owners needs root"
fi
as=(as_nobody)
finds_each '1|error|log-folder|Permission denied|chmod 555 $logs|
1|error|log-folder|Permission denied|chmod 0 $logs|chmod 755 $logs'
finish
