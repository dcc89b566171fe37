#!/usr/bin/env bash
# Tests the page of qfctl verify --html in a browser: its filter, and the number of items that the page says it shows.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

pair /good same same
pair /bad content changed
pair '/b+c' content changed
run 1 qfctl verify --html page.html
has "$(<page.html)" 'onsubmit="return false" hidden>'  # hidden in a browser without scripts

browse() {
  HOME=/tmp chromium --headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking \
    --disable-component-update --disable-sync --user-data-dir=/tmp/profile --virtual-time-budget=2000 \
    --dump-dom "$1" 2>/dev/null
}

# shows COUNT FRAGMENT HEADINGS: opens the page with the fragment, and expects the count and the headings.
shows() {
  run 0 browse "file:///tmp/page.html$2"
  has "$out" "<span id=\"shown\">$1 of 3 shown</span>"
  has "$out" 'onsubmit="return false">'
  [[ $out == *'<p id="nothing">'* ]] && (($1 > 0)) && fail "shows \"No match\" and $1 items"
  is "$(grep -o '<section><h2>[A-Za-z]*' <<<"$out" | sed 's/.*>//' | tr '\n' ' ')" "$3"
}

shows 3 '' 'Failed Passed '
shows 0 '#filter=live' ''  # the filter searches names and values, not headings
has "$out" '<p id="nothing">No match</p>'
shows 1 '#filter=BAD' 'Failed '
has "$out" '<div class="item passed" hidden=""'
shows 2 '#filter=b' 'Failed '
shows 1 '#filter=good' 'Passed '
shows 0 '#filter=good&failures' ''
finish
