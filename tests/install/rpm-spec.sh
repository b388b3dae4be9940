#!/bin/bash
# Builds Orvo's RPM package with rpmbuild from the existing build tree, far enough to
# prove that the %files list of packaging/orvo.spec and the install agree: %install installs
# this build (rpmbuild's %prep and %build, which would build it again, are skipped),
# %check validates the desktop files, and packaging fails on any file listed but not
# installed or installed but not listed.
#   rpm-spec.sh SOURCE BUILD WORK
set -uo pipefail
source=$1 build=$2 work=$3
rm -rf "$work"
mkdir -p "$work"
version=$(sed -n 's/^Version: *//p' "$source/packaging/orvo.spec")
# %install and %check start in the unpacked sources, which are not unpacked here.
mkdir -p "$work/BUILD/orvo-$version"
defs=(--nodeps --define "debug_package %{nil}"
      --define "cmake_install DESTDIR=%{buildroot} cmake --install $build --prefix %{_prefix}")
log=$work/rpmbuild.log
if ORVO_RPM_DIR="$work" "$source/scripts/build-rpm" -bi --short-circuit "${defs[@]}" >"$log" 2>&1 &&
   rpmbuild --define "_topdir $work" -bb --short-circuit "${defs[@]}" "$work/SPECS/orvo.spec" >>"$log" 2>&1; then
    [ -s "$work/SOURCES/orvo-$version.tar.gz" ] || { echo "FAIL: no source archive"; exit 1; }
    package=$(ls "$work"/RPMS/*/orvo-"$version"-*.rpm)
    echo "built $(basename "$package") with $(rpm -qpl "$package" | wc -l) entries"
    exit 0
fi
echo "FAIL: rpmbuild:"
grep -v -e '^-- Installing' -e '^-- Up-to-date' "$log" | tail -40
exit 1
