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
[ "$tasks" -gt $((512 * 3 / 2)) ] || fail "TasksMax=$tasks leaves the local device no threads"
[ "$(value text-received)" = $((64 << 20)) ] && [ "$(value answers)" = $((128 << 20)) ] &&
  [ "$(value outputs)" = $((64 << 20)) ] && [ "$(value large-texts)" = 2 ] || fail "the page sums up other limits"

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
