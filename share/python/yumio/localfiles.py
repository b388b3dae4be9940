"""Package files from disk: checked, then kept for the session and put into every sack
the session reads, as dnf's "@commandline" repository."""

import os

import rpm

# Files added in this run of the program, kept across the script objects the engine
# makes after each transaction.
_FILES = []


def _header(path):
    ts = rpm.TransactionSet()
    ts.setVSFlags(rpm._RPMVSF_NOSIGNATURES | rpm._RPMVSF_NODIGESTS)
    with open(path, "rb") as fh:
        return ts.hdrFromFdno(fh.fileno())


def check(path, arches):
    """Why a file cannot be added, or "" when it can."""
    try:
        hdr = _header(path)
    except (rpm.error, IOError, OSError) as e:
        return "%s is not a readable RPM package file (%s)" % (path, e)
    if hdr[rpm.RPMTAG_SOURCEPACKAGE] or not hdr[rpm.RPMTAG_ARCH]:
        return "%s is a source package, not one to install" % path
    arch = hdr[rpm.RPMTAG_ARCH]
    if isinstance(arch, bytes):
        arch = arch.decode()
    if arch not in arches:
        return "%s is for architecture %s, which this system does not run" % (path, arch)
    return ""


def add(base, paths):
    """Checks each file; those that pass are kept for the session.  Returns the problems
    ("" entries omitted): a file that fails changes nothing."""
    arches = set(base.sack.list_arches()) | {"noarch"}
    problems = []
    for p in paths:
        path = os.path.abspath(p)
        why = check(path, arches)
        if why:
            problems.append(why)
        elif path not in _FILES:
            _FILES.append(path)
    return problems


def putIntoSack(base):
    """Adds the session's files to a freshly read sack; a file installed since is dropped."""
    if not _FILES:
        return
    # A query made before a package joins the sack must not be used after it.
    installed = set((p.name, p.arch, p.evr) for p in base.sack.query().installed())
    for path in list(_FILES):
        try:
            pkg = base.sack.add_cmdline_package(path)
        except Exception:
            _FILES.remove(path)
            continue
        if (pkg.name, pkg.arch, pkg.evr) in installed:
            _FILES.remove(path)


def forget():
    del _FILES[:]
