"""The advisories of the repositories' update information that an update fixes.

An update fixes an advisory when the advisory lists a package of the same name and
architecture whose version is newer than every installed version of that name and not
newer than the update itself: installing the update brings in the fix.
"""

import calendar

import hawkey

_TYPES = {
    hawkey.ADVISORY_SECURITY: "security",
    hawkey.ADVISORY_BUGFIX: "bugfix",
    hawkey.ADVISORY_ENHANCEMENT: "enhancement",
    hawkey.ADVISORY_NEWPACKAGE: "newpackage",
}

_REFERENCES = {
    hawkey.REFERENCE_CVE: "cve",
    hawkey.REFERENCE_BUGZILLA: "bugzilla",
    hawkey.REFERENCE_VENDOR: "vendor",
}

# Listed per update: security first, the gravest first, then the newest.
_TYPE_ORDER = {"security": 0, "bugfix": 1, "enhancement": 2, "newpackage": 3}
_SEVERITY_ORDER = {"critical": 0, "important": 1, "moderate": 2, "low": 3}


def _seconds(when):
    """Seconds since the epoch of the advisory's date (libsolv keeps it in UTC)."""
    if when is None:
        return 0
    if hasattr(when, "timetuple"):
        return int(calendar.timegm(when.timetuple()))
    return int(when)


def _text(value):
    if value is None:
        return ""
    if isinstance(value, bytes):
        return value.decode("utf-8", "replace")
    return str(value)


def record(advisory):
    """(type, id, title, severity, issued, description, references); references are
    (type, id, title, url) tuples."""
    refs = tuple((_REFERENCES.get(r.type, "other"), _text(r.id), _text(r.title), _text(r.url))
                 for r in advisory.references)
    return (_TYPES.get(advisory.type, "unknown"), _text(advisory.id), _text(advisory.title),
            _text(advisory.severity), _seconds(advisory.updated), _text(advisory.description), refs)


def _order(rec):
    return (_TYPE_ORDER.get(rec[0], 9), _SEVERITY_ORDER.get(rec[3].lower(), 8), -rec[4], rec[1])


def collect(sack, packages):
    """For the update packages (dnf packages), the records of every advisory one of them
    fixes, by id, and the ids each package fixes, in the packages' order."""
    fixes = [[] for _ in packages]
    records = {}
    if not packages:
        return records, fixes
    at = {}
    for i, p in enumerate(packages):
        at.setdefault((p.name, p.arch), []).append(i)
    newestInstalled = {}
    names = list(set(p.name for p in packages))
    for p in sack.query().installed().filterm(name=names):
        kept = newestInstalled.get(p.name)
        if kept is None or sack.evr_cmp(p.evr, kept) > 0:
            newestInstalled[p.name] = p.evr
    # One pass over the update information for all packages at once: asking per package
    # walks every advisory again.
    found = sack.query().filterm(pkg=packages).get_advisory_pkgs(hawkey.LT | hawkey.EQ)
    for ap in found:
        installed = newestInstalled.get(ap.name)
        if installed is not None and sack.evr_cmp(ap.evr, installed) <= 0:
            continue  # the installed version already has the fix
        for i in at.get((ap.name, ap.arch), ()):
            if sack.evr_cmp(ap.evr, packages[i].evr) > 0:
                continue
            advisory = ap.get_advisory(sack)
            if advisory is None:
                continue
            aid = _text(advisory.id)
            if aid not in records:
                records[aid] = record(advisory)
            if aid not in fixes[i]:
                fixes[i].append(aid)
    for ids in fixes:
        ids.sort(key=lambda aid: _order(records[aid]))
    return records, fixes
