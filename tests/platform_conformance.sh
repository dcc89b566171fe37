# Runs the conformance test in a locale with a decimal comma. The caller starts this script in a private root.
#
#   platform_conformance.sh PROGRAM [WITH_BUS]      WITH_BUS: starts a session bus
localedef -i de_DE -f UTF-8 /tmp/de_DE.UTF-8 || { echo "the package locales is missing"; exit 1; }
with=(env LOCPATH=/tmp LC_ALL=de_DE.UTF-8)
[[ ${2:-} != WITH_BUS ]] || with=(dbus-run-session -- "${with[@]}" QUICKFIX_EVENT_BUS=session)
exec "${with[@]}" "$1"
