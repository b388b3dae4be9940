#!/bin/bash
# The staged man page renders without warnings and documents every option, the
# environment variables, the files and the exit status.
#   manpage.sh MANPAGE
set -uo pipefail
page=$1
errors=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$page" 2>&1 >/dev/null)
text=$(LC_ALL=C.UTF-8 MANWIDTH=200 man -E UTF-8 -l "$page" 2>/dev/null | sed 's/\xe2\x80\x90/-/g')
status=0
if [ -n "$errors" ]; then echo "FAIL: warnings from man:"; echo "$errors"; status=1; fi
for word in -h -H --help --mode= --regexp= --state= --duplicates --groups --repo-editor --log \
        --disablerepo= --enablerepo= filter search updatable installable removable \
        ORVOROOT ORVOSHARE ORVODOC "EXIT STATUS" FILES /usr/share/orvo \
        /usr/share/doc/orvo-1.11.11/manual.pdf /usr/share/doc/orvo-1.11.11/html/index.html; do
    grep -qF -- "$word" <<<"$text" || { echo "FAIL: the man page does not mention $word"; status=1; }
done
[ $status -eq 0 ] && echo "man page renders cleanly and documents every option"
exit $status
