#!/bin/bash
# Installs the build into a staging directory (DESTDIR) and compares what landed with the
# expected layout; then starts the staged program with ORVOSHARE in the stage.
#   staged-install.sh BUILD STAGE PREFIX EXPECTED-FILES PDF-BUILT(ON/OFF)
set -euo pipefail
build=$1 stage=$2 prefix=$3 expected=$4 pdf=$5
rm -rf "$stage"
DESTDIR="$stage" cmake --install "$build" >/dev/null

status=0
outside=$(cd "$stage" && find . -mindepth 1 \( -type f -o -type l \) | sed 's|^\.||' | grep -v "^$prefix/" || true)
if [ -n "$outside" ]; then
    echo "FAIL: installed outside the prefix $prefix:"; echo "$outside"; status=1
fi
actual=$(cd "$stage$prefix" && find . \( -type f -o -type l \) | sed 's|^\./||' | LC_ALL=C sort)
wanted=$(grep -v '^#' "$expected" | { if [ "$pdf" = ON ]; then cat; else grep -v '/manual.pdf$'; fi; } | LC_ALL=C sort)
if ! diff -u <(echo "$wanted") <(echo "$actual") >/tmp/orvo-layout.$$; then
    echo "FAIL: installed files differ from $expected (- expected, + installed):"
    cat /tmp/orvo-layout.$$; status=1
fi
rm -f /tmp/orvo-layout.$$
links=$(cd "$stage$prefix" && find . -type l)
[ -z "$links" ] || { echo "FAIL: symbolic links installed (they point into the build): $links"; status=1; }
for program in bin/orvo share/orvo/webbrowser share/orvo/mimeviewer; do
    [ -x "$stage$prefix/$program" ] || { echo "FAIL: $program is not executable"; status=1; }
done

# The staged program runs from the stage alone and prints its usage (exit status 1).
set +e
out=$(env -u ORVODOC QT_QPA_PLATFORM=offscreen ORVOSHARE="$stage$prefix/share/orvo" \
    "$stage$prefix/bin/orvo" --help 2>/dev/null)
code=$?
set -e
if [ $code -ne 1 ] || [[ $out != "usage: orvo [options...]"* ]] || [[ $out != *"--enablerepo=r"* ]]; then
    echo "FAIL: staged orvo --help: status $code, output:"; echo "$out"; status=1
fi
[ $status -eq 0 ] && echo "staged install: $(echo "$actual" | wc -l) files as expected"
exit $status
