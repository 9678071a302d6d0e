#!/usr/bin/env bash
# What the built package ships: the files a desktop looks for, valid by the desktop's own
# validators; dependencies that dpkg-shlibdeps computed plus the run-time ones it cannot see;
# and no maintainer scripts, so that no install, upgrade or removal can touch a user's data.
#
#   check_contents.sh DEB APP_ID VERSION
set -euo pipefail
deb=$1 id=$2 version=$3
fail() { echo "FAIL: $*" >&2; exit 1; }

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg-deb -x "$deb" "$root"
dpkg-deb -e "$deb" "$root/DEBIAN"

field() { dpkg-deb -f "$deb" "$1"; }
echo "Package: $(field Package) $(field Version), $(stat -c %s "$deb") bytes"
echo "Depends: $(field Depends)"
echo "Recommends: $(field Recommends)"

[ "$(field Version)" = "$version" ] || fail "the package's version is $(field Version), the project's $version"
for f in "$root"/DEBIAN/*; do
  case $(basename "$f") in control | md5sums) ;; *) fail "maintainer script $(basename "$f") in the package" ;; esac
done
# Computed ones (the libraries both programs link) next to the listed ones.
for dep in libc6 libqt6core6 libqt6quick6 libpulse0 libqt6keychain1 libqt6sql6-sqlite \
  qml6-module-qtquick-controls qml6-module-qtquick-layouts; do
  field Depends | tr ',' '\n' | grep -q "^ *$dep\b" || fail "Depends lacks $dep"
done
for rec in evolution-data-server gnome-keyring pocketsphinx-en-us; do
  field Recommends | grep -q "\b$rec\b" || fail "Recommends lacks $rec"
done

usr=$root/usr
expected=(bin/ondel bin/ondel-cli
  "share/applications/$id.desktop" "share/metainfo/$id.metainfo.xml"
  "share/icons/hicolor/scalable/apps/$id.svg" "share/icons/hicolor/symbolic/apps/$id-tray-symbolic.svg"
  share/doc/ondel/copyright share/doc/ondel/licenses/lucide-static/LICENSE)
for size in 16 22 24 32 48 64 128 256 512; do
  expected+=("share/icons/hicolor/${size}x${size}/apps/$id.png")
done
for f in "${expected[@]}"; do [ -s "$usr/$f" ] || fail "the package lacks /usr/$f"; done
for size in 16 48 512; do
  [ "$(identify -format %wx%h "$usr/share/icons/hicolor/${size}x${size}/apps/$id.png")" = "${size}x${size}" ] ||
    fail "the ${size}px icon is not ${size}px"
done

desktop=$usr/share/applications/$id.desktop
desktop-file-validate "$desktop" || fail "desktop-file-validate rejects $id.desktop"
grep -qx 'Exec=ondel %u' "$desktop" || fail "the entry does not start the installed ondel with the link"
grep -q '^MimeType=.*x-scheme-handler/ondel;' "$desktop" || fail "the entry does not open ondel:// links"
grep -qx "Icon=$id" "$desktop" || fail "the entry's icon is not $id"

appstreamcli validate --no-net --pedantic --explain "$usr/share/metainfo/$id.metainfo.xml" ||
  fail "appstreamcli rejects the metainfo"
grep -q "<release version=\"$version\"" "$usr/share/metainfo/$id.metainfo.xml" ||
  fail "the metainfo's release is not $version"
grep -q '^License: ISC' "$usr/share/doc/ondel/copyright" || fail "the copyright file lacks the icons' ISC licence"
echo "PASS"
