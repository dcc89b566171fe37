#!/usr/bin/env bash
# The script of the page of qfctl verify --html, in a browser: the filter and the count of what it shows.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

pair /good same same
pair /bad content changed
pair '/b+c' content changed
run 1 qfctl verify --html page.html

browse() {
  HOME=/tmp chromium --headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking \
    --disable-component-update --disable-sync --user-data-dir=/tmp/profile --virtual-time-budget=2000 \
    --dump-dom "$1" 2>/dev/null
}

# shows COUNT ADDRESS
shows() { run 0 browse "file:///tmp/page.html$2"; has "$out" "<span id=\"shown\">$1 of 3 shown</span>"; }

shows 3 ''
shows 0 '#filter=live'  # names and values, no headings
shows 1 '#filter=BAD'
has "$out" '<div class="item passed" hidden=""'
shows 2 '#filter=b'
finish
