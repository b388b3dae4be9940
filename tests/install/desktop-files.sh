#!/bin/bash
# The staged desktop entry, metainfo and polkit action, checked by the desktop's own
# validators and against each other: the entry starts the installed program through
# pkexec, the polkit action names that program and allows it the display, and the
# icon exists in the hicolor theme.
#   desktop-files.sh STAGE PREFIX APP-ID
set -uo pipefail
stage=$1 prefix=$2 id=$3
root=$stage$prefix
program=$prefix/bin/orvo
status=0
fail() { echo "FAIL: $*"; status=1; }

desktop=$root/share/applications/$id.desktop
out=$(desktop-file-validate "$desktop" 2>&1) || fail "desktop-file-validate: $out"
# Hints are advice; errors and warnings are not accepted.
if echo "$out" | grep -qE "error:|warning:"; then fail "desktop-file-validate: $out"; fi
grep -qx "Exec=pkexec $program" "$desktop" || fail "the desktop entry does not start $program through pkexec"
grep -qx "Icon=$id" "$desktop" || fail "the desktop entry's icon is not $id"

out=$(appstreamcli validate --no-net "$root/share/metainfo/$id.metainfo.xml" 2>&1) \
    || fail "appstreamcli validate: $out"
grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$root/share/metainfo/$id.metainfo.xml" \
    || fail "the metainfo does not launch $id.desktop"

for size in 16 22 24 32 48 64 128 256; do
    icon=$root/share/icons/hicolor/${size}x${size}/apps/$id.png
    actual=$(python3 -c 'import struct,sys; d=open(sys.argv[1],"rb").read(24); print("%dx%d" % struct.unpack(">II", d[16:24]) if d[:8]==b"\x89PNG\r\n\x1a\n" else "not a PNG")' "$icon" 2>&1)
    [ "$actual" = "${size}x${size}" ] || fail "$icon: $actual"
done

out=$(python3 - "$root/share/polkit-1/actions/$id.policy" "$program" <<'PY' 2>&1
import sys, xml.etree.ElementTree as ET
root = ET.parse(sys.argv[1]).getroot()
actions = root.findall("action")
assert len(actions) == 1, "one action expected"
notes = {a.get("key"): a.text for a in actions[0].findall("annotate")}
assert notes.get("org.freedesktop.policykit.exec.path") == sys.argv[2], notes
assert notes.get("org.freedesktop.policykit.exec.allow_gui") == "true", notes
assert actions[0].find("defaults/allow_active").text.startswith("auth_admin")
PY
) || fail "polkit action: $out"

[ $status -eq 0 ] && echo "desktop entry, metainfo, icons and polkit action valid"
exit $status
