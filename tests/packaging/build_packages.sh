#!/usr/bin/env bash
# Builds the Debian packages from a finished release build, without touching the source tree.
#     build_packages.sh BUILD-DIRECTORY OUTPUT-DIRECTORY
set -euo pipefail
source=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
tree=$2/tree
mkdir -p "$tree"
cp -R "$source"/{debian,python,docs,packaging,README.md,CHANGELOG.md} "$tree"
find "$tree/python" -name __pycache__ -prune -exec rm -rf {} +
(cd "$tree" && VANTRY_BUILD=$build dpkg-buildpackage -b -us -uc -d -nc) >"$2/build.log" 2>&1 ||
  { cat "$2/build.log" >&2; exit 1; }
rm -rf "$tree"
