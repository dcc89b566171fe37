#!/usr/bin/env bash
# The completion, the man page and the manual name what qfctl itself lists, no more and no less.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"
source "$PROJECT/tools/qfctl/completion/qfctl"

err=
compopt() { files="$*"; }  # outside of a completion the builtin refuses

# offered WORD...: leaves in $out what the last word can become, in $files how files are asked for.
offered() {
  COMP_WORDS=(qfctl "$@") COMP_CWORD=$#
  files=
  _qfctl
  out=$(printf '%s\n' ${COMPREPLY[@]+"${COMPREPLY[@]}"} | sort)
}

# section TITLE: the lines of that part of the help that begin an entry.
section() { sed -n "/^$1:\$/,/^\$/s/^  \([^ ]\)/\1/p" <<<"$help"; }

all_options=
all_commands=
events=$(qfctl events | cut -d ' ' -f 1 | sort)

# compare COMMAND...: the help of one command with what is offered for it, then its own commands.
compare() {
  local help options commands positional option type words command
  help=$(qfctl "$@" --help)
  options=$(section Options | cut -d ' ' -f 1 | tr , '\n' | sort)
  commands=$(section Subcommands | cut -d ' ' -f 1 | sort)
  positional=$(section Positionals | cut -d ' ' -f 1)
  offered "$@" -
  is "$out" "$options"
  offered "$@" ""
  case "$commands$positional" in
    EVENT) is "$out" "$events" ;;
    FILE) is "$out$files" "-o default" ;;
    KEY) is "$out$files" "" ;;
    '') is "$out" "$options" ;;
    *) is "$out" "$commands" ;;
  esac
  while read -r option type _; do
    [[ $type =~ ^[A-Z]+$ ]] || continue
    for words in "" = "= x"; do
      # shellcheck disable=SC2086
      offered "$@" "${option#*,}" ${words:-""}
      case $type-$option in
        FILE-*) is "$out$files" "-o default" ;;
        *--status) [[ $words == "= x" ]] || is "$out" "$(printf '%s\n' failed init loaded success)" ;;
        *) is "$out$files" "" ;;
      esac
    done
  done < <(section Options)
  all_options+=$options$'\n'
  [[ -n $commands ]] || all_commands+=$*$'\n'
  for command in $commands; do compare "$@" "$command"; done
}
compare
offered no-such-command ""
is "$out$files" ""
offered status show --file f --js
is "$out" --json

page=$PROJECT/docs/qfctl.1
long_options=$(grep -o '^--.*' <<<"$all_options" | sort -u)
is "$(grep '^\..*Fl' "$page" | grep -o ' -[a-z-]*' | sed 's/ /-/' | sort -u)" "$long_options"
is "$(sed -n '/^\.Sh SYNOPSIS/,/^\.Sh DESC/s/^\.Cm \(.*\)/\1/p' "$page" | sort -u)" "$(printf %s "$all_commands" | sort)"
for name in $long_options $events QUICKFIX_EVENT_BUS QUICKFIX_PARAMETERS QUICKFIX_LOG NO_COLOR; do
  has "$(cat "$PROJECT/docs/qfctl.md")" "$name"
  has "$(cat "$page")" "${name#-}"
done

finish
