#!/bin/bash
# package.sh [--twice] [--try]: makes the packages for Debian of the sources as they lie here into out/package/, and has
# Debian's own checkers look at them. With --twice it makes them once more in another directory, and asks for the same
# bytes; with --try it has them tried in a bare Debian.
set -euo pipefail
cd "$(dirname "$0")/.."
output=$PWD/out/package
version=$(sed -n 's/.*suiteVersion = "\(.*\)".*/\1/p' src/update/update_handler.h)
date=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}

# Makes the packages into the directory given; what they are made of goes again.
make_packages() {
  local sources=$1/zelmo-dockset-$version
  mkdir -p "$sources"
  # All files get one time, since packages keep the times of the files that are only copied.
  tar -c --mtime="@$date" --exclude-vcs --exclude=./build --exclude=./out --exclude=__pycache__ . | tar -x -C "$sources"
  cp -r packaging/debian "$sources/debian"
  sed -e "s/@version@/$version/" -e "s/@date@/$(LC_ALL=C date -u -R -d "@$date")/" packaging/debian/changelog.in \
    >"$sources/debian/changelog"
  rm "$sources/debian/changelog.in"
  (cd "$sources" && DEB_BUILD_OPTIONS="noautodbgsym parallel=$(nproc)" dpkg-buildpackage --build=binary --no-sign)
  rm -rf "$sources"
}

rm -rf "$output"
mkdir -p "$output"
make_packages "$output"

installed=$(mktemp -d)
trap 'rm -rf "$installed"' EXIT
for package in "$output"/*.deb; do
  dpkg-deb -x "$package" "$installed"
done
lintian --allow-root --fail-on error,warning "$output"/*.deb
appstreamcli validate --no-net "$installed"/usr/share/metainfo/*.xml
desktop-file-validate "$installed"/usr/share/applications/*.desktop

for option in "$@"; do
  case "$option" in
    --twice)
      make_packages "$installed/again"
      for package in "$output"/*.deb; do
        cmp "$package" "$installed/again/$(basename "$package")"
      done
      echo "the same bytes twice" ;;
    --try)
      tools/package_trial.sh ;;
  esac
done
sha256sum "$output"/*.deb
