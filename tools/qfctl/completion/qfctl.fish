# Completes qfctl in fish. Reads the commands and options from `qfctl COMMAND --help`, so they match the installed
# qfctl.

# __qfctl_is only|first WORD...: compares the words before the cursor with these. With "first", more words may follow.
function __qfctl_is
    set -l words (commandline -opc)
    set -e words[1]
    test $argv[1] = only; or set words $words[1..(math (count $argv) - 1)]
    test "$words" = "$argv[2..]"
end

# __qfctl_add_option CONDITION NAMES TYPE TEXT: adds an option. NAMES may be "-h,--help"; TYPE is empty for a flag.
function __qfctl_add_option
    set -l option
    for name in (string split , -- $argv[2])
        if string match -q -- '--*' $name
            set -a option -l (string sub -s 3 -- $name)
        else
            set -a option -s (string sub -s 2 -- $name)
        end
    end
    switch $argv[3]$argv[2]
        case '-*'
        case 'FILE*'
            set -a option -r -F
        case '*--status'
            set -a option -x -a 'init loaded success failed'
        case '*'
            set -a option -x
    end
    complete -c qfctl -n $argv[1] $option -d $argv[4]
end

# __qfctl_add COMMAND...: adds the options and operands of the command, and its subcommands recursively.
function __qfctl_add
    set -l help (command qfctl $argv --help 2>/dev/null)
    set -l condition "__qfctl_is first $argv"
    contains Subcommands: $help; and set condition "__qfctl_is only $argv"
    set -l section
    for line in $help
        string match -qr '^(?<title>\S.*):$' -- $line; and set section $title
        string match -qr '^  (?<names>\S+)( (?<type>[A-Z]+) )?.*?(  (?<text>\S.*))?$' -- $line; or continue
        switch "$section $names"
            case 'Options *'
                __qfctl_add_option $condition $names "$type" "$text"
            case 'Subcommands *'
                complete -c qfctl -n $condition -a $names -d "$text"
                __qfctl_add $argv $names
            case '* FILE'
                complete -c qfctl -n $condition -F
            case '* EVENT'
                complete -c qfctl -n $condition -a "(command qfctl events | string replace -r ' .*' '')"
        end
    end
end

complete -c qfctl -f
__qfctl_add
