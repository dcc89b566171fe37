#!/usr/bin/env bash
# Tests that promtool accepts the metrics of qfctl verify --metrics, and that the alerts of docs/fleet.md fire in time.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

check_metrics() { promtool check metrics <metrics; }

# promtool accepts unusual label values, and the metrics of runs that exit with 1 or 3.
export QUICKFIX_PARAMETERS=/tmp/parameters
put $QUICKFIX_PARAMETERS $'ro.comp.kt.product_base_version.real=\xe6\x97\xa5 \\ {"}\xff'
put status $'PatchVersion=1"\\\r\nStatus=\xff\nErrorCode=7,-3,7,\n'
run 3 qfctl verify --metrics metrics --status-file status
run 0 check_metrics; is "$out$err" ""
pair /a same same
put $overlay/b patch
run 1 qfctl verify --metrics metrics --status-file status
run 0 check_metrics; is "$out$err" ""

sed -n '/^groups:$/,/^```$/p' "$PROJECT/docs/fleet.md" | sed '$d' >alerts.yml
for name in $(grep -o 'quickfix_verify_[a-z_]*' "$PROJECT/docs/fleet.md" | sort -u); do
  grep -Eq "^$name[ {]" metrics || fail "no metric $name"
done
# The last run began at time 0. The exit code is 0 in the first two hours, then 3.
cat >test.yml <<'YAML'
rule_files: [alerts.yml]
tests:
  - interval: 1h
    input_series:
      - {series: 'quickfix_verify_last_run_timestamp_seconds{instance="d"}', values: 0x99}
      - {series: 'quickfix_verify_exit_code{instance="d"}', values: 0 0 3x99}
    alert_rule_test:
      - {eval_time: 1h, alertname: QuickFixNotVerified}
      - eval_time: 2h
        alertname: QuickFixNotVerified
        exp_alerts:
          - exp_labels: {instance: d}
            exp_annotations: {summary: "d: qfctl verify ended with 3"}
      - {eval_time: 48h, alertname: QuickFixVerificationStale}
      - eval_time: 49h
        alertname: QuickFixVerificationStale
        exp_alerts:
          - exp_labels: {instance: d}
            exp_annotations: {summary: "d: last verified 2d 1h 0m 0s ago"}
YAML
run 0 promtool test rules test.yml
finish
