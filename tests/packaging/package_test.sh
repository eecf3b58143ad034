#!/usr/bin/env bash
# Builds the Debian package, installs it into a folder that stands for a system, runs what it brings,
# and removes it again.
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

(cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log") || { cat "$work/cpack.log"; exit 1; }
package=$(ls "$work"/out/*.deb)
root=$work/system
mkdir -p "$root"/var/lib/dpkg/{info,updates} "$root"/{etc,run}
touch "$root"/var/lib/dpkg/status "$root"/etc/{passwd,group}
as_package_manager() {
  dpkg --root="$root" --force-script-chrootless --force-depends --force-not-root --log=/dev/null "$@"
}
as_package_manager -i "$package" >/dev/null
for file in usr/bin/vantryd usr/bin/vantry usr/share/man/man1/vantry.1.gz lib/systemd/system/vantryd.service \
  lib/sysusers.d/vantry.conf lib/tmpfiles.d/vantry.conf usr/share/bash-completion/completions/vantry \
  usr/share/fish/vendor_completions.d/vantry.fish usr/share/zsh/vendor-completions/_vantry; do
  [ -e "$root/$file" ] || [ -e "$root/usr/$file" ] || [ -e "$root/${file%.gz}" ] || fail "$file is missing"
done

devices=$work/devices
"$root/usr/bin/vantryd" --root "$root/var/lib/vantry" --devices "$devices" --port 0 --bind 127.0.0.1 \
  >"$work/ready" &
hub=$!
for _ in $(seq 300); do grep -q '^ready ' "$work/ready" && break; sleep 0.1; done
"$root/usr/bin/vantry" --device "$devices/PRN1" status >/dev/null || fail "the hub gives no status"
kill -TERM "$hub"
wait "$hub" || fail "the hub did not stop cleanly"
hub=
[ -z "$(ls -A "$devices")" ] || fail "sockets are left"

as_package_manager --purge vantry >/dev/null
left=$(find "$root" -type f ! -path "$root/var/lib/dpkg/*" ! -path "$root/etc/*")
[ -z "$left" ] || fail "files are left: $left"
[ ! -e "$root/var/lib/vantry" ] || fail "its state is left"
echo "installed, started, stopped and removed"
