#!/usr/bin/env bash
# Upgrades a system from version 1.0.0 to the packages of a folder, upgrades again, removes and purges
# them, with the service enabled and with it disabled. The system is this one with a writable layer over
# it that vanishes at the end, so dpkg, the scripts of the packages and the programs are the real ones.
# Only systemctl is a stand-in: it keeps the links of units, and which program a unit was started with.
#     upgrade_test.sh PACKAGES-DIRECTORY OLD-PACKAGE
set -euo pipefail
if [ "${1:-}" != --inside ]; then
  [ "$(id -u)" -eq 0 ] || { echo "skipped: only root can make a system to upgrade"; exit 77; }
  exec unshare --mount --pid --fork "$0" --inside "$(realpath "$1")" "$(realpath "$2")"
fi
packages=$2 old=$3
# What is written stays in memory, and goes with the namespace.
layer=$(mktemp -d)
mount -t tmpfs tmpfs "$layer"
fail() { echo "upgrade test: $*" >&2; cat "$layer/log" >&2; exit 1; }

# Makes a new system in $root, in which version 1.0.0 runs and has saved a setting.
new_system() {
  root=$layer/$1
  mkdir -p "$layer/$1.changes" "$layer/$1.work" "$root"
  mount -t overlay overlay -o "lowerdir=/,upperdir=$layer/$1.changes,workdir=$layer/$1.work" "$root"
  mount -t proc proc "$root/proc"
  mount --bind /dev "$root/dev"
  mount -t tmpfs tmpfs "$root/run"
  mkdir -p "$root/run/systemd/system" "$root/packages"
  rm -f "$root/usr/sbin/policy-rc.d"
  cp "$packages"/*.deb "$old" "$root/packages"
  cp --remove-destination "$(dirname "$0")/systemctl" "$root/usr/bin/systemctl"
  # Packages that are only recommended, or that a builder lacks, aren't what is tested.
  inside dpkg --force-depends -i "/packages/$(basename "$old")"
  rm "$root/packages/$(basename "$old")"
  rm -rf "$root/run/calls"
  with_hub 'vantry --device /run/vantry/PRN1 set "Property Publishing Period in ms" 1000'
}
inside() { chroot "$root" "$@" >>"$layer/log" 2>&1 || fail "$* failed"; }
# Runs a command beside the installed hub with the service's user and options.
with_hub() {
  cat >"$root/with_hub" <<HUB
install -d -o vantry -g vantry /run/vantry
options=\$(sed -n 's/^ExecStart=[^ ]* \\(.*\\) \\\$.*/\\1/p' /lib/systemd/system/vantryd.service)
setpriv --reuid vantry --regid vantry --clear-groups /usr/bin/vantryd \
  \${options:---root /var/lib/vantry --devices /run/vantry} --bind 127.0.0.1 --port 0 >/run/ready &
for _ in \$(seq 300); do grep -q '^ready ' /run/ready && break; sleep 0.1; done
$1 || exit 1
kill -TERM \$!
wait \$!
HUB
  inside bash "/with_hub"
}
enabled() { [ -L "$root/etc/systemd/system/multi-user.target.wants/vantryd.service" ]; }
# Tells whether the service runs the program that is installed.
runs() { [ "$(cat "$root/run/units/vantryd.service" 2>/dev/null)" = "$(sha256sum <"$root/usr/bin/vantryd")" ]; }
stopped() { [ ! -e "$root/run/units/vantryd.service" ]; }
upgrade() { inside dpkg --auto-deconfigure --force-depends --force-confold -i $(cd "$root" && echo $1); }

# dpkg unpacks in the order of its arguments, so the old package goes first or last.
for order in 'packages/vantry_* packages/[lp]* packages/vantry-* packages/vantryd_*' \
             'packages/vantryd_* packages/vantry-* packages/[lp]* packages/vantry_*'; do
  new_system enabled
  enabled && runs || fail "1.0.0 doesn't run"
  upgrade "$order"
  enabled && runs || fail "the service runs the old program, or isn't enabled"
  with_hub '[ "$(vantry --device /run/vantry/PRN1 get "Property Publishing Period in ms")" = 1000 ]'
  echo 'VANTRYD_OPTIONS="--port 9103"' >"$root/etc/default/vantry"
  echo 'log-bytes = 1000000' >"$root/etc/vantry/limits"
  : >"$root/run/calls"
  upgrade "$order"
  grep -q 'restart vantryd' "$root/run/calls" || fail "an upgrade doesn't restart the service"
  grep -q 9103 "$root/etc/default/vantry" && grep -q 1000000 "$root/etc/vantry/limits" ||
    fail "an upgrade loses what the operator wrote"
  inside /usr/bin/python3 -c 'import vantry'
  names=$(cd "$root/packages" && for file in *.deb; do echo "${file%%_*}"; done)
  inside dpkg --remove $names
  stopped || fail "the service of a removed package runs"
  [ -e "$root/var/lib/vantry/Store/VantryProperties.ini" ] || fail "a removal deletes settings"
  inside dpkg --purge $names
  left=$(cd "$layer/enabled.changes" &&
    find etc usr lib var/lib -name '*vantry*' ! -type c ! -path 'var/lib/systemd/*' 2>/dev/null) || true
  [ -z "$left" ] || fail "a purge leaves $left"
  umount -R "$root"
  rm -rf "$layer"/enabled*

  new_system disabled
  inside systemctl disable --now vantryd.service
  upgrade "$order"
  ! enabled && stopped || fail "a disabled service is enabled or started"
  upgrade "$order"
  ! enabled && stopped || fail "a second upgrade enables or starts a disabled service"
  umount -R "$root"
  rm -rf "$layer"/disabled*
done

# A first installation, without 1.0.0, starts the service, and neither the bridge nor the gateway.
new_system first
inside dpkg --purge --force-depends vantry
rm -rf "$root/run/units"
upgrade 'packages/vantry_* packages/[lp]* packages/vantry-* packages/vantryd_*'
enabled && runs || fail "a first installation doesn't start the service"
[ "$(ls "$root/run/units")" = vantryd.service ] || fail "a first installation starts $(ls "$root/run/units")"
echo "upgraded, restarted or left alone, removed and purged"
