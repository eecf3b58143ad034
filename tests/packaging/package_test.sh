#!/usr/bin/env bash
# Builds the Debian packages, installs them into a folder that stands for a system, upgrades that from
# version 1.0.0, runs what they bring, and removes them again. What only a running systemd does is
# recorded by stand-ins and checked as far as that goes.
#     package_test.sh BUILD-DIRECTORY
set -euo pipefail
build=$1
work=$(mktemp -d)
hub=
stop() {
  [ -z "$hub" ] || kill -KILL "$hub" 2>/dev/null || true
  rm -rf "$work"
}
trap stop EXIT
fail() { echo "package test: $*" >&2; exit 1; }

"$(dirname "$0")/build_packages.sh" "$build" "$work/out"
root=$work/system
mkdir -p "$root"/var/lib/dpkg/{info,updates} "$root"/{etc,run} "$work"/{bin,old/DEBIAN}
touch "$root"/var/lib/dpkg/status "$root"/etc/{passwd,group}
as_package_manager() {
  dpkg --root="$root" --auto-deconfigure --force-script-chrootless --force-depends --force-not-root --log=/dev/null \
    "$@" >"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log" >&2; return 1; }
}
# A stand-in writes down what it is asked.
for tool in systemctl systemd-sysusers systemd-tmpfiles deb-systemd-invoke py3compile py3clean; do
  printf '#!/bin/sh\necho %s "$@" >>"%s"\n' "$tool" "$work/calls" >"$work/bin/$tool"
  chmod +x "$work/bin/$tool"
done
export PATH=$work/bin:$PATH

# Version 1.0.0 was one package with everything, and had saved settings. Its service was disabled.
mkdir -p "$work"/old/usr/bin "$root"/var/lib/vantry/Store
printf 'Package: vantry\nVersion: 1.0.0\nArchitecture: amd64\nMaintainer: x\nDescription: x\n' >"$work/old/DEBIAN/control"
for file in vantry vantryd; do echo old >"$work/old/usr/bin/$file"; done
printf '#!/bin/sh\nif [ "$1" = purge ]; then rm -rf "$DPKG_ROOT/var/lib/vantry"; fi\n' >"$work/old/DEBIAN/postrm"
chmod 755 "$work/old/DEBIAN/postrm"
dpkg-deb --build "$work/old" "$work/old.deb" >/dev/null
as_package_manager -i "$work/old.deb"
echo kept >"$root/var/lib/vantry/Store/kept"
as_package_manager -i "$work"/out/*.deb
[ "$(cat "$root/var/lib/vantry/Store/kept")" = kept ] || fail "the upgrade lost a setting"
grep -q systemd-sysusers "$work/calls" || fail "nobody asks for the user"
[ "$(cat "$root/var/lib/systemd/deb-systemd-helper-enabled/vantryd.service.dsh-also")" = \
  /etc/systemd/system/multi-user.target.wants/vantryd.service ] || fail "a disabled service is enabled"
for file in usr/bin/vantryd usr/bin/vantry usr/share/man/man1/vantry.1.gz lib/systemd/system/vantryd.service \
  lib/sysusers.d/vantry.conf lib/tmpfiles.d/vantry.conf usr/share/bash-completion/completions/vantry \
  usr/share/fish/vendor_completions.d/vantry.fish usr/share/zsh/vendor-completions/_vantry \
  etc/default/vantry etc/logrotate.d/vantryd usr/share/vantry/properties.d usr/lib/libprn.so \
  usr/bin/vantry-bridge lib/systemd/system/vantry-bridge.service usr/share/man/man8/vantry-bridge.8.gz \
  lib/systemd/system/vantry-recorder.service etc/default/vantry-recorder etc/default/vantry-gateway \
  etc/vantry/bridge.conf usr/bin/vantry-fleet usr/share/man/man1/vantry-fleet.1.gz \
  usr/share/bash-completion/completions/vantry-fleet usr/share/fish/vendor_completions.d/vantry-fleet.fish \
  usr/share/zsh/vendor-completions/_vantry-fleet \
  usr/bin/vantry-gateway lib/systemd/system/vantry-gateway.service usr/share/man/man8/vantry-gateway.8.gz \
  usr/lib/libvantry_client.a usr/lib/python3/dist-packages/vantry/sync.py; do
  [ -e "$root/$file" ] || [ -e "$root/usr/$file" ] || [ -e "$root/${file%.gz}" ] || fail "$file is missing"
done

# Every link of the documents leads to something that is installed with them.
while IFS=: read -r page link; do
  [ -e "$(dirname "$page")/$link" ] || fail "$page leads to $link, which isn't installed"
done < <(find "$root/usr/share/doc" -name '*.md' -exec grep -oE '\]\([][A-Za-z0-9_./-]+\)' {} + |
  sed 's/:](\(.*\))$/:\1/')

for service in vantry-gateway vantry-recorder; do
  ! grep "$work/calls" -e "\(start\|enable\).*$service" || fail "$service is started without being asked for"
  if [ -e "$root/etc/systemd/system/multi-user.target.wants/$service.service" ]; then
    fail "$service is enabled without being asked for"
  fi
done
# What the service of the hub may not do, these may not do either.
strict() { sed -n '/^ProtectSystem/,/^CapabilityBoundingSet/p' "$(find "$root" -name "$1.service")" | grep -v ^RestrictAddress; }
for service in vantry-gateway vantry-recorder; do
  looser=$(comm -23 <(strict vantryd | sort) <(strict $service | sort))
  [ -z "$looser" ] || fail "$service may do more than the hub: $looser"
done
mkdir -p "$root/var/lib/vantry-history"

# The unit's bounds stand above the sum that the page on security adds up.
unit=$(find "$root" -name vantryd.service)
page=$(find "$root" -name 'SECURITY.md*')
memory=$(sed -n 's/^MemoryMax=\([0-9]*\)M$/\1/p' "$unit")
tasks=$(sed -n 's/^TasksMax=//p' "$unit")
rows=$(zcat -f "$page" | sed -n '/^| held/,/^| sum/s/^|.*| \([0-9]*\) |$/\1/p')
sum=$(($(sed '$d' <<<"$rows" | paste -sd+)))
[ "$sum" = "$(tail -1 <<<"$rows")" ] && grep -q " $sum MiB" "$unit" || fail "the sum of the bounds is $sum MiB"
[ "$memory" -gt "$sum" ] || fail "MemoryMax=$memory is not above $sum"
zcat -f "$page" | grep -q "MemoryMax\` is $memory MiB. \`TasksMax\` is $tasks:" || fail "unit and page differ"
limits=$("$root/usr/bin/vantryd" --limits "$root/etc/vantry/limits" --print-limits)
value() { sed -n "s/^$1 = //p" <<<"$limits"; }
[ "$(value log-bytes)" = 16777216 ] || fail "the service's log has no bound"
grep -q "^f /etc/vantry/limits .*log-bytes = 16777216" "$root"/usr/lib/tmpfiles.d/vantry.conf ||
  fail "a limits file that was deleted isn't made again"
[ "$tasks" -gt $((512 * 3 / 2)) ] || fail "TasksMax=$tasks leaves the local device no threads"
[ "$(value text-received)" = $((64 << 20)) ] && [ "$(value answers)" = $((128 << 20)) ] &&
  [ "$(value outputs)" = $((64 << 20)) ] && [ "$(value large-texts)" = 2 ] &&
  [ "$(value demanding-messages)" = 4 ] &&
  [ "$(value all-properties)" = 16384 ] && [ "$(value all-property-text)" = $((32 << 20)) ] || fail "the page sums up other limits"

# As vantryd(8) says: a backup is restored, and an override is applied once.
devices=$work/devices store=$root/var/lib/vantry/Store
start() {
  "$root/usr/bin/vantryd" --root "$root/var/lib/vantry" --devices "$devices" --port 0 --bind 127.0.0.1 \
    --saves replace >"$work/ready" 2>"$work/told" &
  hub=$!
  for _ in $(seq 300); do grep -q '^ready ' "$work/ready" && return; sleep 0.1; done
}
stop_hub() {
  kill -TERM "$hub"
  wait "$hub" || fail "the hub did not stop cleanly"
  hub=
  [ -z "$(ls -A "$devices")" ] || fail "sockets are left"
}
vantry() { "$root/usr/bin/vantry" --device "$devices/PRN1" "$@"; }
period="Property Publishing Period in ms"
shows() { [ "$(vantry get "$period")" = "$1" ] || fail "the period isn't $1"; }
start
vantry status >/dev/null || fail "the hub gives no status"
vantry set "$period" 1000 >/dev/null
stop_hub
cp -a "$store" "$work/backup"
start
vantry set "$period" 2000 >/dev/null
stop_hub
cp -a "$work/backup/VantryProperties.ini" "$store"
start
shows 1000
stop_hub
vantry settings export "$store/VantryProperties.ini" "$work/lines"
sed -i 's/=1000$/=1250/' "$work/lines"
vantry settings import "$work/lines" "$store/VantryPropertiesOverride.ini"
start
shows 1250
grep -q "has replaced 1 of" "$work/told" || fail "the override isn't told: $(cat "$work/told")"
stop_hub
[ ! -e "$store/VantryPropertiesOverride.ini" ] || fail "the override is still there"

as_package_manager --purge $(cd "$work/out" && for package in *.deb; do echo "${package%%_*}"; done)
left=$(find "$root" -type f ! -path "$root/var/lib/dpkg/*" ! -path "$root/etc/*")
[ -z "$left" ] || fail "files are left: $left"
[ ! -e "$root/var/lib/vantry" ] && [ ! -e "$root/var/lib/vantry-history" ] || fail "its state is left"
echo "installed, started, stopped and removed"
