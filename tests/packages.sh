#!/usr/bin/env bash
# Installs, tests and removes the packages. scripts/test-packages starts this script in a temporary root.
source "$PROJECT/tests/support/cli.sh"
shopt -s nullglob

QFCTL=/usr/bin/qfctl
library=("$PROJECT"/build/packages/libquickfix-utils[0-9]*.deb)
development=("$PROJECT"/build/packages/libquickfix-utils-dev_*.deb)
tools=("$PROJECT"/build/packages/quickfix-utils-tools_*.deb)
version=$(dpkg-deb --field "${library[0]}" Version)

installed_files() {
  find /etc /usr /var -xdev \( -path /var/lib/dpkg -o -path /var/log -o -path /var/cache \) -prune -o -print | sort
}

# Removes the library's build dependencies: programs that link the library need none of them.
run 0 dpkg --purge --force-depends libssl-dev libcjson-dev libsystemd-dev libcli11-dev
installed_files >before

run 1 dpkg -i "${tools[@]}"; has "$err" "depends on libquickfix-utils0 (= $version)"
run 0 dpkg -i "${library[@]}" "${tools[@]}" "${development[@]}"
run 0 ldconfig -p; has "$out" "libquickfix_utils.so.0 "; has "$out" "libquickfix_platform.so.0 "
run 0 qfctl --version; prints "qfctl $version"
run 0 qfctl hash /usr/bin/qfctl

# A system bus with the policy from the package.
exec 8< <(exec dbus-daemon --system --nofork --nopidfile --print-address 2>/tmp/bus.err)
read -r -u 8 _ || fail "no bus: $(cat /tmp/bus.err)"
run 0 qfctl publish user-added
run 3 as_nobody /usr/bin/qfctl publish user-added; has "$err" "can't be published"

# The units are disabled by default. The threshold is the exposure level that systemd-analyze measured.
[[ -z $(find /etc/systemd -name 'quickfix*') ]] || fail "the units are enabled"
run 0 systemd-analyze verify --man=no quickfix-verify.timer; is "$err" ""
run 0 systemd-analyze security --offline=true --threshold=16 --no-pager quickfix-verify.service
for state in 770:root 700:games; do
  run 0 systemd-tmpfiles --create quickfix.conf
  is "$(stat -c %a:%U /data/update/quickfix/log)" $state
  chmod 700 /data/update/quickfix/log && chown games /data/update/quickfix/log
done

# Builds the sources that the packages contain. The build directories are in the project's directory, because a private
# root, in which the programs then run, shows that directory but not the machine's /tmp.
folder=$PROJECT/build/packages-root/engine
for source in /usr/share/{doc/libquickfix-utils-dev/examples/{engine,engine_test},quickfix_utils/conformance}; do
  run 0 cmake -G Ninja -S "$source" -B "$folder/${source##*/}"
  run 0 cmake --build "$folder/${source##*/}"
done
run 0 ctest --test-dir "$folder/engine_test" --no-tests=error --output-on-failure
run 0 env --chdir="$PROJECT" quickfix-private-root bash tests/platform_conformance.sh "$folder/conformance/platform_conformance" WITH_BUS
run 0 "$PROJECT/scripts/run-example" "$folder/engine/engine" "$version"
read -r -a flags < <(pkg-config --cflags --libs quickfix_utils)
run 0 g++ -std=c++17 "$PROJECT/examples/engine/engine.cpp" -o "$folder/engine_flags" "${flags[@]}"
run 0 "$PROJECT/scripts/run-example" "$folder/engine_flags" "$version"

run 0 dpkg --purge libquickfix-utils-dev quickfix-utils-tools libquickfix-utils0
installed_files >after
run 0 diff before after
out=$(ldconfig -p) && [[ $out != *quickfix* ]] || fail "ldconfig still lists the libraries"
finish
