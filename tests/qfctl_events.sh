# Tests qfctl events, wait and publish with private bus daemons.
. "$PROJECT/tests/support/cli.sh"

mkdir -p /data/update/quickfix/log
scan=teklo.event.BUNDLE_SCAN_FINISHED

# start_bus OPTION...: starts a bus and returns when it listens
start_bus() {
  exec 8< <(exec dbus-daemon "$1" --nofork --nopidfile --print-address "${@:2}" 2>/tmp/bus.err)
  bus=$!
  read -r -u 8 QUICKFIX_EVENT_BUS || fail "no bus: $(cat /tmp/bus.err)"
  export QUICKFIX_EVENT_BUS
}
stop_bus() { kill -KILL "$bus"; }

# start_waiting ARGUMENT...: starts qfctl wait with signal handling $disposition, and returns when qfctl waits.
# end_waiting CODE: waits until qfctl ends and expects CODE.
disposition=default
start_waiting() {
  exec 9< <(exec env "--$disposition-signal=INT,TERM,HUP" "$QFCTL" wait "$@" 2>/tmp/waiting.err)
  waiting=$!
  read -r -u 9 out
}
end_waiting() {
  local code=0
  wait "$waiting" || code=$?
  out=$(cat <&9) err=$(cat /tmp/waiting.err)
  ((code == $1)) || fail "qfctl wait ended with $code instead of $1"
}

run 0 qfctl events
prints "bundle-scan-finished  $scan
user-added            teklo.event.USER_ADDED"
run 0 qfctl events --json
prints '{"bundle-scan-finished":"teklo.event.BUNDLE_SCAN_FINISHED","user-added":"teklo.event.USER_ADDED"}'
for arguments in "wait" "publish" "wait scan" "publish unknown" "wait user-added --timeout -1" \
  "wait user-added --timeout nan" "wait user-added --timeout 1s" "events more"; do
  # shellcheck disable=SC2086
  run 2 qfctl $arguments
done

export QUICKFIX_EVENT_BUS=unix:path=/tmp/nowhere
run 3 qfctl publish user-added; has "$err" "teklo.event.USER_ADDED can't be published"
run 3 qfctl wait user-added --timeout 1; has "$err" "no bus can be reached"

start_bus --session --address=unix:path=/tmp/bus
start_waiting bundle-scan-finished --timeout 60
is "$out" "waiting for $scan"
run 0 qfctl publish user-added
run 0 qfctl publish bundle-scan-finished; end_waiting 0; is "$out" "$scan arrived"
run 4 qfctl wait bundle-scan-finished --timeout 0.2; has "$err" "$scan did not arrive in time"
for signal in INT TERM HUP; do
  run 0 qfctl log --clear
  start_waiting user-added
  kill -"$signal" "$waiting"
  end_waiting 4; has "$err" "has not arrived"
  run 0 qfctl log --grep 'UnsubscribeEvent event result 1'
done
disposition=ignore start_waiting user-added --timeout 60
for signal in INT TERM HUP; do kill -"$signal" "$waiting"; done
run 0 qfctl publish user-added; end_waiting 0
stop_bus

# With the installed policy, only root may own the name.
start_bus --config-file="$PROJECT/tests/data/system_bus.conf"
run 3 as_nobody "$QFCTL" publish user-added; has "$err" "Permission denied"
if ((EUID == 0)); then
  start_waiting user-added --timeout 60
  run 0 qfctl publish user-added; end_waiting 0
fi
stop_bus

((EUID == 0)) || skip "publishing on a bus with the policy needs root"
finish
