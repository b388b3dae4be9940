#!/bin/bash
# The two viewer programs, with stand-in openers on a PATH of their own.
#   viewers.sh SHARE_DIRECTORY
set -u
share=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# The few system tools the scripts use, and nothing that could open a file.
mkdir "$work/tools"
for tool in sh id getent cut dirname env setpriv cat; do
    ln -s "$(command -v "$tool")" "$work/tools/$tool"
done
echo "a manual" > "$work/manual.pdf"
chmod 644 "$work/manual.pdf"

# stand_in DIR NAME STATUS: an opener that records its user and arguments.
stand_in() {
    mkdir -p "$1"
    printf '#!/bin/sh\necho "$(id -u) %s $*" >> %s/record\nexit %s\n' "$2" "$work" "$3" > "$1/$2"
    chmod 755 "$1" "$1/$2"
}
run() { # run PATH-DIRS PROGRAM ARGS...: sets status, out (standard error), record
    local path=$1; shift
    rm -f "$work/record"; : > "$work/record"; chmod 666 "$work/record"
    out=$(env -i PATH="$path:$work/tools" "$@" 2>&1 >/dev/null); status=$?
    record=$(cat "$work/record")
}

stand_in "$work/ok" xdg-open 0
run "$work/ok" "$share/mimeviewer" application/pdf "$work/manual.pdf"
[ $status -eq 0 ] && [ "$record" = "$(id -u) xdg-open $work/manual.pdf" ] \
    || fail "mimeviewer through xdg-open: status $status, record '$record', '$out'"

run "$work/ok" "$share/webbrowser" "http://example.invalid/repo/"
[ $status -eq 0 ] && [ "$record" = "$(id -u) xdg-open http://example.invalid/repo/" ] \
    || fail "webbrowser with an address: status $status, record '$record', '$out'"

run "$work/ok" "$share/mimeviewer" application/pdf "$work/absent.pdf"
[ $status -eq 1 ] && [ -z "$record" ] && [[ $out == *"cannot show $work/absent.pdf: no such readable file"* ]] \
    || fail "missing file: status $status, record '$record', '$out'"

# xdg-open finds no handler: the next opener is tried, then a clear message.
stand_in "$work/none" xdg-open 3
stand_in "$work/mailcap" run-mailcap 0
run "$work/none:$work/mailcap" "$share/mimeviewer" application/pdf "$work/manual.pdf"
[ $status -eq 0 ] && [ "$record" = "$(id -u) xdg-open $work/manual.pdf
$(id -u) run-mailcap --action=view application/pdf:$work/manual.pdf" ] \
    || fail "fallback to mailcap: status $status, record '$record', '$out'"
run "$work/none" "$share/webbrowser" "$work/manual.pdf"
[ $status -eq 1 ] && [[ $out == *"no application could show $work/manual.pdf as text/html (tried: xdg-open)"* ]] \
    || fail "failing opener: status $status, '$out'"

run "$work/empty" "$share/mimeviewer" application/pdf "$work/manual.pdf"
[ $status -eq 1 ] && [[ $out == *"no program to show application/pdf is installed"* ]] \
    || fail "no opener: status $status, '$out'"

# Started as root by pkexec for a user: the viewer runs as that user.
if [ "$(id -u)" -eq 0 ] && command -v setpriv >/dev/null; then
    run "$work/ok" env PKEXEC_UID=65534 "$share/mimeviewer" application/pdf "$work/manual.pdf"
    [ $status -eq 0 ] && [ "$record" = "65534 xdg-open $work/manual.pdf" ] \
        || fail "as the pkexec user: status $status, record '$record', '$out'"
fi

echo "viewers: $failures failed"
[ $failures -eq 0 ]
