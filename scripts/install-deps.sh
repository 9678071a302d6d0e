#!/usr/bin/env bash
# Installs the Debian packages that building, running and testing Ondel need.
# Idempotent: asks apt only for what is missing, and refreshes the lists only then.
set -euo pipefail

packages=(
  # toolchain
  cmake ninja-build g++ ccache pkg-config make
  # Qt 6
  qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-declarative-dev-tools
  libqt6sql6-sqlite libsqlite3-dev libgl-dev
  qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts
  qml6-module-qtquick-window qml6-module-qtquick-templates qml6-module-qtqml-workerscript
  qml6-module-qttest qt6-svg-dev libqt6svg6 qt6-qpa-plugins fonts-inter
  # platform services: audio, secrets, calendars; audio files for the command line
  libpulse-dev qtkeychain-qt6-dev libical-dev libsndfile1-dev libsamplerate0-dev
  # the live draft: PocketSphinx's library and its US English model
  libpocketsphinx-dev libsphinxbase-dev pocketsphinx-en-us
  # the desktop's calendars: Evolution Data Server's client libraries, and the service itself
  # (the calendar tests start its registry and calendar factory on a private bus)
  libecal2.0-dev libedataserver1.2-dev evolution-data-server
  # the real services tests start for themselves: sound server, session bus, keyring,
  # notification daemon, X server for screenshots
  pulseaudio pulseaudio-utils dbus dbus-x11 gnome-keyring libsecret-tools python3-dbusmock
  # PipeWire with its session manager and its PulseAudio server, for the capture tests that run
  # on both servers (they sit beside the pulseaudio package; the tests start each privately)
  pipewire pipewire-pulse wireplumber
  xvfb xauth x11-apps imagemagick xdotool
  # the accessibility bus, through which the desktop tests find the app's controls
  at-spi2-core
  # the ondel:// link handler: the desktop entry and its registration
  xdg-utils desktop-file-utils
  # the end-to-end recording test: a voice, a recogniser and its English model, sox for formats
  flite pocketsphinx pocketsphinx-en-us sox libsox-fmt-mp3
  # the Debian package: its icons rendered from the SVG, the validators of what it ships, and
  # the clean Debian 12 root its install test makes
  librsvg2-bin appstream debootstrap
  # benchmarks
  libbenchmark-dev
)
# npm fetches the shell's front-end assets (its line icons); the machine's own Node.js will do.
command -v npm >/dev/null 2>&1 || packages+=(nodejs npm)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=()
  if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}"

  # The tests start their own sound servers. One installed here only for them must not take the
  # desktop's sound over at the next login, so its login units stay off.
  units=()
  for p in "${missing[@]}"; do
    case "$p" in
      pulseaudio) units+=(pulseaudio.service pulseaudio.socket) ;;
      pipewire-pulse) units+=(pipewire-pulse.service pipewire-pulse.socket) ;;
      wireplumber) units+=(wireplumber.service) ;;
    esac
  done
  if [ ${#units[@]} -gt 0 ] && command -v systemctl >/dev/null 2>&1; then
    "${sudo_cmd[@]}" systemctl --global disable "${units[@]}" >/dev/null 2>&1 || true
  fi
fi

# The pinned front-end assets, from the lock file.
assets="$(dirname "$0")/../assets"
if [ ! -f "$assets/node_modules/.package-lock.json" ] || [ "$assets/package-lock.json" -nt "$assets/node_modules/.package-lock.json" ]; then
  (cd "$assets" && npm ci --no-audit --no-fund --loglevel=error)
fi
