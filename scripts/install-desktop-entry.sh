#!/usr/bin/env bash
# Makes a built app known to this user's desktop: a launcher entry that also opens "ondel://"
# links, and the app's icon. The desktop's tools are optional; without them the entry is still
# written. It never fails, so that it cannot stop a build or a run.
#
#   install-desktop-entry.sh BINARY [BUNDLE_ID]
set -u

packaging="$(cd "$(dirname "${BASH_SOURCE[0]}")/../packaging/linux" && pwd)"
binary=${1:-}
id=${2:-com.tarnwyk.ondel}

warn() { echo "install-desktop-entry: $*" >&2; }

if [ -z "$binary" ] || [ ! -x "$binary" ]; then
  warn "no built app at '$binary'; the desktop entry is left as it was"
  exit 0
fi
binary=$(realpath "$binary")

# The XDG rule: an unset or relative value means the default.
data=${XDG_DATA_HOME:-}
case $data in /*) ;; *) data=$HOME/.local/share ;; esac
applications=$data/applications
icons=$data/icons/hicolor/scalable/apps
# The tray's idle icon: a symbolic one, which the panel draws in its own colour.
symbolic=$data/icons/hicolor/symbolic/apps
entry=$applications/$id.desktop

# Exec takes the path quoted, with ", `, $ and \ escaped, and then every backslash doubled by
# the string rule of desktop entries; % would start a field code.
write_entry() {
  ONDEL_EXEC=$binary ONDEL_ICON=$id awk '
    function quoted(s,   i, c, out) {
      out = ""
      for (i = 1; i <= length(s); i++) {
        c = substr(s, i, 1)
        if (c == "\\") out = out "\\\\\\\\"
        else if (c == "\"" || c == "`" || c == "$") out = out "\\\\" c
        else if (c == "%") out = out "%%"
        else if (c == "\n") out = out "\\n"
        else out = out c
      }
      return "\"" out "\""
    }
    # Plain text in, plain text out: no pattern rules apply to the value.
    function put(line, key, value,   at) {
      at = index(line, key)
      return at ? substr(line, 1, at - 1) value substr(line, at + length(key)) : line
    }
    BEGIN { exec = quoted(ENVIRON["ONDEL_EXEC"]) }
    { print put(put($0, "@EXEC@", exec), "@ICON@", ENVIRON["ONDEL_ICON"]) }
  ' "$packaging/ondel.desktop.in"
}

install_all() {
  mkdir -p "$applications" "$icons" "$symbolic" &&
    cp "$packaging/ondel.svg" "$icons/$id.svg" &&
    cp "$packaging/ondel-tray-symbolic.svg" "$symbolic/$id-tray-symbolic.svg" &&
    write_entry >"$entry.new" &&
    mv "$entry.new" "$entry" || return 1
  if command -v update-desktop-database >/dev/null 2>&1; then
    update-desktop-database -q "$applications" || warn "update-desktop-database failed"
  fi
  if command -v xdg-mime >/dev/null 2>&1; then
    xdg-mime default "$id.desktop" x-scheme-handler/ondel || warn "xdg-mime could not make Ondel open ondel:// links"
  fi
}

install_all || { rm -f "$entry.new"; warn "could not install the desktop entry in $applications"; }
exit 0
