#!/usr/bin/env bash
# Tests that the completions offer exactly what qfctl lists, that the man page has exactly its options and commands, and
# that the man page and the manual name each option, event and environment variable.
source "$(dirname "${BASH_SOURCE[0]}")/support/cli.sh"

export LC_ALL=C HOME=/tmp PATH=/tmp/bin:$PATH completion=$PROJECT/tools/qfctl/completion
mkdir bin && ln -s "$QFCTL" bin/qfctl && touch unique-name

# SHELL_offers LINE...: prints the words with which the shell completes each command line.
bash_offers() {
  source "$completion/qfctl"
  compopt() { mapfile -t COMPREPLY < <(compgen -f -- "${COMP_WORDS[COMP_CWORD]}"); }  # the builtin fails outside a completion
  local line
  for line in "$@"; do
    read -r -a COMP_WORDS <<<"${line//=/ = }"
    [[ $line != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _qfctl
    echo "$line:" $(printf '%s\n' "${COMPREPLY[@]}" | sort)
  done
}

fish_offers() {
  fish --no-config -c 'source $completion/qfctl.fish
    for line in $argv
      echo "$line:" (complete -C $line | string replace -r "\t.*" "" | string replace -r "^--.*=" "" | sort)
    end' "$@"
}

# zsh completes only on a terminal. The first completion writes the words to a file and ends the shell.
zsh_offers() {
  zsh -f -c 'zmodload zsh/zpty
    for line in "$@"; do
      zpty shell zsh -fi
      zpty -w shell "fpath=($completion \$fpath); autoload -U compinit; compinit -u -D; offered=()
        compadd() {
          local -a matches
          [[ \${(j: :)@[1,(i)(-|--)]} == *-[OAD]* ]] || builtin compadd -O matches \"\$@\"
          offered+=(\$matches)
          builtin compadd \"\$@\"
        }
        capture() { _main_complete; print -r -- \${(uo)offered} >offered; exit }
        zle -C capture complete-word capture; bindkey \"^I\" capture"
      zpty -w -n shell "$line"$'"'\t'"'
      zpty -r shell output "*never*"
      print -r -- "$line:" $(<offered)
      zpty -d shell
      rm offered
    done' zsh "$@"
}

lines=() expected=
expect() {
  lines+=("$1")
  expected+="$1:${2:+ ${2//$'\n'/ }}"$'\n'
}

# section TITLE: prints the first line of each entry in a section of the help.
section() { sed -n "/^$1:\$/,/^\$/s/^  \([^ ]\)/\1/p" <<<"$help"; }

all_options='' all_commands=''
events=$(qfctl events | cut -d ' ' -f 1 | sort)

# read_help COMMAND...: expects what the help of the command lists, and does the same for its subcommands.
read_help() {
  local help line options commands option type command
  help=$(qfctl "$@" --help)
  line="qfctl $*${1:+ }"
  options=$(section Options | cut -d ' ' -f 1 | tr , '\n' | sort)
  commands=$(section Subcommands | cut -d ' ' -f 1 | sort)
  expect "$line-" "$options"
  case $commands$(section Positionals | cut -d ' ' -f 1) in
    '') ;;
    EVENT) expect "$line" "$events" ;;
    FILE) expect "${line}uniq" unique-name ;;
    *) expect "$line" "$commands" ;;
  esac
  while read -r option type _; do
    option=${option#*,}
    case $type-$option in
      FILE-*) expect "$line$option uniq" unique-name; expect "$line$option=uniq" unique-name ;;
      TEXT---status) expect "$line$option=" "$(printf '%s\n' failed init loaded success)" ;;
      *[a-z:]-*) ;;
      *) expect "$line$option " "" ;;
    esac
  done < <(section Options)
  all_options+=$options$'\n'
  [[ -n $commands ]] || all_commands+=$*$'\n'
  for command in $commands; do read_help "$@" "$command"; done
}
read_help
expect "qfctl no-such-command " ""
expect "qfctl status show --file f --js" --json
for shell in bash zsh fish; do
  run 0 diff <(printf %s "$expected") <("${shell}_offers" "${lines[@]}")
done

page=$PROJECT/docs/qfctl.1
long_options=$(grep -o '^--.*' <<<"$all_options" | sort -u)
is "$(grep '^\..*Fl' "$page" | grep -o ' -[a-z-]*' | sed 's/ /-/' | sort -u)" "$long_options"
is "$(sed -n '/^\.Sh SYNOPSIS/,/^\.Sh DESC/s/^\.Cm \(.*\)/\1/p' "$page" | sort -u)" "$(printf %s "$all_commands" | sort)"
for name in $long_options $events QUICKFIX_EVENT_BUS QUICKFIX_PARAMETERS QUICKFIX_LOG NO_COLOR; do
  has "$(cat "$PROJECT/docs/qfctl.md")" "$name"
  has "$(cat "$page")" "${name#-}"
done

finish
