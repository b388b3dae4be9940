"""The package manager's transaction history of the managed root, read from its own
database (history.sqlite in the persistdir), and the inverse of one transaction."""

import os

import dnf.db.history
import libdnf.transaction as T

# What happened to a package, as the history window shows it.
ACTION_WORDS = {
    T.TransactionItemAction_INSTALL: "Install",
    T.TransactionItemAction_DOWNGRADE: "Downgrade",
    T.TransactionItemAction_DOWNGRADED: "Downgraded",
    T.TransactionItemAction_OBSOLETE: "Obsoleting",
    T.TransactionItemAction_OBSOLETED: "Obsoleted",
    T.TransactionItemAction_UPGRADE: "Update",
    T.TransactionItemAction_UPGRADED: "Updated",
    T.TransactionItemAction_REMOVE: "Remove",
    T.TransactionItemAction_REINSTALL: "Reinstall",
    T.TransactionItemAction_REINSTALLED: "Reinstalled",
    T.TransactionItemAction_REASON_CHANGE: "Reason Change",
}

_INSTALLED = (T.TransactionItemAction_INSTALL, T.TransactionItemAction_OBSOLETE)
_UPDATED = (T.TransactionItemAction_UPGRADE, T.TransactionItemAction_DOWNGRADE,
            T.TransactionItemAction_REINSTALL)
_REMOVED = (T.TransactionItemAction_REMOVE, T.TransactionItemAction_OBSOLETED)


def _open(persistdir):
    """A fresh view of the database, or None when the root has no history yet (opening
    one would create it)."""
    if not os.path.exists(os.path.join(persistdir, "history.sqlite")):
        return None
    return dnf.db.history.SwdbInterface(persistdir)


def _verRel(item):
    if item.epoch:
        return "%s:%s-%s" % (item.epoch, item.version, item.release)
    return "%s-%s" % (item.version, item.release)


def _packages(trans):
    return [i for i in trans.packages() if i.action != T.TransactionItemAction_REASON_CHANGE]


def transactions(persistdir):
    """Newest first: (id, begin time, command line, installed, updated, removed, return code)."""
    swdb = _open(persistdir)
    if swdb is None:
        return []
    try:
        rows = []
        for t in swdb.old():
            items = _packages(t)
            rows.append((int(t.tid), int(t.beg_timestamp or 0), str(t.cmdline or ""),
                         sum(1 for i in items if i.action in _INSTALLED),
                         sum(1 for i in items if i.action in _UPDATED),
                         sum(1 for i in items if i.action in _REMOVED),
                         int(t.return_code or 0)))
        rows.sort(key=lambda r: -r[0])
        return rows
    finally:
        swdb.close()


def _transaction(swdb, tid):
    found = swdb.old([int(tid)])
    return found[0] if found else None


def packages(persistdir, tid):
    """What happened in one transaction: (what, name, version-release, arch, repository)."""
    swdb = _open(persistdir)
    if swdb is None:
        return []
    try:
        t = _transaction(swdb, tid)
        if t is None:
            return []
        rows = [(ACTION_WORDS.get(i.action, str(i.action_name)), i.name, _verRel(i), i.arch,
                 str(i.from_repo or "")) for i in _packages(t)]
        return sorted(rows, key=lambda r: (r[1], r[3], r[0]))
    finally:
        swdb.close()


def undo(persistdir, query, tid):
    """The inverse of one transaction on the system as it is now, as marks:
    ([(action, name, arch, version-release)], [nevra no longer available]).

    What it installed is removed where it is still installed; what it removed is
    installed again at the same version; what it updated goes back to the version it
    replaced, and what it downgraded is updated to the newest version again.  Versions that no repository offers any more are named, not marked."""
    swdb = _open(persistdir)
    if swdb is None:
        return [], []
    try:
        t = _transaction(swdb, tid)
        items = _packages(t) if t is not None else []
    finally:
        swdb.close()
    installed = query.installed()
    available = query.available()
    marks = []
    missing = []
    replaced = {}
    for i in items:
        if i.action in (T.TransactionItemAction_UPGRADED, T.TransactionItemAction_DOWNGRADED):
            replaced[(i.name, i.arch)] = i
    for i in items:
        if i.action in _INSTALLED:
            if installed.filter(name=i.name, arch=i.arch, evr=i.evr):
                marks.append(("remove", i.name, i.arch, _verRel(i)))
        elif i.action in _REMOVED:
            if installed.filter(name=i.name, arch=i.arch):
                continue
            if available.filter(name=i.name, arch=i.arch, evr=i.evr):
                marks.append(("install", i.name, i.arch, _verRel(i)))
            else:
                missing.append("%s-%s.%s" % (i.name, _verRel(i), i.arch))
        elif i.action == T.TransactionItemAction_UPGRADE:
            old = replaced.get((i.name, i.arch))
            if old is None:
                # an update across architectures: the replaced one has the other arch
                old = next((o for (n, _a), o in replaced.items() if n == i.name), None)
            if old is None or not installed.filter(name=i.name):
                continue
            if available.filter(name=old.name, arch=old.arch, evr=old.evr):
                marks.append(("downgrade", old.name, old.arch, _verRel(old)))
            else:
                missing.append("%s-%s.%s" % (old.name, _verRel(old), old.arch))
        elif i.action == T.TransactionItemAction_DOWNGRADE:
            old = replaced.get((i.name, i.arch))
            if old is None or not installed.filter(name=i.name, arch=i.arch, evr=i.evr):
                continue
            # An update takes the newest version: only that one can be gone back to.
            newest = available.filter(name=old.name, arch=old.arch).latest()
            if any(p.evr == old.evr for p in newest):
                marks.append(("update", old.name, old.arch, _verRel(old)))
            else:
                missing.append("%s-%s.%s" % (old.name, _verRel(old), old.arch))
    return marks, missing
