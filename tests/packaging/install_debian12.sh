#!/usr/bin/env bash
# The package on a fresh Debian 12: a minbase root made by debootstrap, apt resolving the
# package's dependencies (without the recommended ones, so that Depends alone must do), then
# ondel-cli and the app run from it as a user. Upgrading and removing the package leave that
# user's store, settings, archive and keyring as they were.
#
#   install_debian12.sh DEB VERSION WORKDIR
# WORKDIR (in the build folder) keeps the base root as a tarball and apt's downloads between
# runs; the root itself is made afresh each time. Exits 77 (skipped) when not run as root.
set -euo pipefail
deb=$(realpath "$1") version=$2 work=$(realpath -m "$3")
fail() { echo "FAIL: $*" >&2; exit 1; }
step() { echo "== $(date +%T) $*"; }

if [ "$(id -u)" -ne 0 ]; then
  echo "SKIP: debootstrap and chroot need root"
  exit 77
fi
command -v debootstrap >/dev/null || fail "debootstrap is missing: run scripts/install-deps.sh"

# The Debian mirrors this machine's apt uses (one-line and deb822 source files).
sources() {
  {
    grep -hs '^deb ' /etc/apt/sources.list /etc/apt/sources.list.d/*.list | sed 's/\[[^]]*\]//' | awk '{print $2}'
    grep -hs '^URIs:' /etc/apt/sources.list.d/*.sources | cut -d: -f2- | tr ' ' '\n'
  } | grep -E '^https?://' | sed 's:/*$::'
}
mirror=$(sources | grep -v -- '-security' | head -n1)
security=$(sources | grep -- '-security' | head -n1 || true)
mirror=${mirror:-http://deb.debian.org/debian}

mkdir -p "$work/archives/partial" "$work/debootstrap"
base=$work/bookworm-minbase.tar
root=$work/root
cleanup() {
  for m in "$root/var/cache/apt/archives" "$root/proc"; do
    mountpoint -q "$m" && umount -l "$m"
  done
  rm -rf "$root" "$work/base"
}
trap cleanup EXIT
cleanup

if [ ! -s "$base" ]; then
  step "debootstrap minbase bookworm from $mirror"
  debootstrap --variant=minbase --cache-dir="$work/debootstrap" bookworm "$work/base" "$mirror" >"$work/debootstrap.log" 2>&1 ||
    { tail -n 30 "$work/debootstrap.log"; fail "debootstrap failed"; }
  tar -C "$work/base" --exclude="./var/cache/apt/archives/*.deb" -cf "$base.new" . && mv "$base.new" "$base"
  rm -rf "$work/base"
fi
step "fresh root"
mkdir -p "$root"
tar -C "$root" -xf "$base"
{
  echo "deb $mirror bookworm main"
  echo "deb $mirror bookworm-updates main"
  [ -z "$security" ] || echo "deb $security bookworm-security main"
} >"$root/etc/apt/sources.list"
# Services are not started inside the root.
printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
chmod +x "$root/usr/sbin/policy-rc.d"
mount -t proc proc "$root/proc"
mount --bind "$work/archives" "$root/var/cache/apt/archives"

in_root() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive LANG=C.UTF-8 "$@"; }
apt_get() { in_root apt-get -y -q -o Dpkg::Use-Pty=0 -o APT::Install-Recommends=false "$@"; }

step "apt-get update"
apt_get update >/dev/null
cp "$deb" "$root/tmp/ondel.deb"
step "apt-get install ./ondel.deb"
apt_get install /tmp/ondel.deb >"$work/install.log" 2>&1 || { tail -n 40 "$work/install.log"; fail "apt could not install the package"; }
grep -c '^Setting up' "$work/install.log" | sed 's/^/packages set up: /'

in_root useradd --create-home --shell /bin/bash ada
uid=$(in_root id -u ada)
as_user() {
  chroot --userspec="$uid:$uid" "$root" env -i PATH=/usr/bin:/bin HOME=/home/ada USER=ada LANG=C.UTF-8 "$@"
}

step "ondel --version"
out=$(as_user ondel --version) || fail "ondel --version exited $?"
[ "$out" = "Ondel $version" ] || fail "ondel --version printed '$out'"

step "ondel-cli meetings"
out=$(as_user ondel-cli meetings 2>&1) || fail "ondel-cli meetings exited $?: $out"
echo "$out"
[ -s "$root/home/ada/.local/share/Ondel/Ondel.store" ] || fail "ondel-cli made no store"

# The app itself, as far as a machine without a display goes: every QML module it imports is
# installed when its main window gets drawn. It is the test identity, so that it logs to stderr.
step "ondel (offscreen) up to its main window"
as_user env QT_QPA_PLATFORM=offscreen ONDEL_BUNDLE_ID=com.tarnwyk.ondel.test ondel >"$work/app.log" 2>&1 &
app=$!
for _ in $(seq 1 120); do
  grep -q 'Main window shown' "$work/app.log" && break
  kill -0 "$app" 2>/dev/null || break
  sleep 0.5
done
shown=$(grep -c 'Main window shown' "$work/app.log" || true)
kill "$app" 2>/dev/null || true
wait "$app" 2>/dev/null || true
[ "$shown" -gt 0 ] || { cat "$work/app.log"; fail "the installed app did not show its window"; }

# The user's data, as a user has it: the store the command line made, settings, the Markdown
# archive, a keyring.
mkdir -p "$root/home/ada/.config/Ondel" "$root/home/ada/OndelNotes" "$root/home/ada/.local/share/keyrings"
echo '{"appTheme": "dark"}' >"$root/home/ada/.config/Ondel/settings.json"
printf '# Weekly sync\n\nNotes.\n' >"$root/home/ada/OndelNotes/2026-11-23 Weekly sync.md"
head -c 512 /dev/urandom >"$root/home/ada/.local/share/keyrings/login.keyring"
chown -R "$uid:$uid" "$root/home/ada"
snapshot() { (cd "$root/home/ada" && find . -printf '%p %s %m %T@\n' | sort && find . -type f -exec sha256sum {} + | sort); }
before=$(snapshot)

step "upgrade to a later version"
work_deb=$work/next
rm -rf "$work_deb" && dpkg-deb -R "$deb" "$work_deb"
sed -i "s/^Version: .*/Version: $version+next/" "$work_deb/DEBIAN/control"
dpkg-deb -Zgzip -b "$work_deb" "$root/tmp/ondel-next.deb" >/dev/null && rm -rf "$work_deb"
apt_get install /tmp/ondel-next.deb >>"$work/install.log" 2>&1 || { tail -n 20 "$work/install.log"; fail "the upgrade failed"; }
[ "$(in_root dpkg-query -W -f='${Version}' ondel)" = "$version+next" ] || fail "the upgrade did not take"
[ "$(snapshot)" = "$before" ] || { diff <(echo "$before") <(snapshot); fail "the upgrade changed the user's data"; }
as_user ondel-cli meetings >/dev/null || fail "ondel-cli fails after the upgrade"
before=$(snapshot)

step "apt-get purge ondel"
apt_get purge ondel >>"$work/install.log" 2>&1 || fail "the removal failed"
[ ! -e "$root/usr/bin/ondel" ] && [ ! -e "$root/usr/bin/ondel-cli" ] || fail "the programs are still there"
[ "$(snapshot)" = "$before" ] || { diff <(echo "$before") <(snapshot); fail "the removal changed the user's data"; }
step "PASS"
