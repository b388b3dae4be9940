"""Resolving, confirming and running a transaction, reported in yum's terms."""

import dnf.callback
import dnf.exceptions
import dnf.transaction
import libdnf

import yumIOC
from yum import Errors
from yumio import versions as _versions
from yumio.catalogue import bytes2str
from yumio.errors import yumError
from yumio.lock import LOCK
from yumio.meters import ApplyMeter, DepsolveCallback


# yum's transaction-member codes.
TS_UPDATE = 10
TS_INSTALL = 20
TS_TRUEINSTALL = 30
TS_ERASE = 40
TS_OBSOLETED = 50
TS_OBSOLETING = 60
TS_AVAILABLE = 70
TS_UPDATED = 90


def _tsinfo(text):
    yumIOC.log(3, "TSINFO: " + text)


class _TransactionDisplay(dnf.callback.TransactionProgress):
    """rpm's progress as yum's transaction events."""

    _CODES = {
        dnf.transaction.PKG_INSTALL: TS_INSTALL,
        dnf.transaction.PKG_UPGRADE: TS_UPDATE,
        dnf.transaction.PKG_DOWNGRADE: TS_UPDATE,
        dnf.transaction.PKG_REINSTALL: TS_INSTALL,
        dnf.transaction.PKG_OBSOLETE: TS_OBSOLETING,
        dnf.transaction.PKG_REMOVE: TS_ERASE,
        dnf.transaction.PKG_UPGRADED: TS_UPDATED,
        dnf.transaction.PKG_DOWNGRADED: TS_UPDATED,
        dnf.transaction.PKG_REINSTALLED: TS_UPDATED,
        dnf.transaction.PKG_OBSOLETED: TS_OBSOLETED,
        dnf.transaction.PKG_CLEANUP: TS_UPDATED,
    }

    def __init__(self, io):
        super(_TransactionDisplay, self).__init__()
        self._io = io

    def progress(self, package, action, ti_done, ti_total, ts_done, ts_total):
        code = self._CODES.get(action)
        if code is None or package is None or isinstance(package, str):
            return
        if code in (TS_ERASE, TS_OBSOLETED, TS_UPDATED):
            obj = package.name
        else:
            obj = self._io._wrap(package)
            if code == TS_INSTALL:
                code = self._io._installCode(package)
        yumIOC.tsEvent(obj, code, int(ti_done or 0), int(ti_total or 0), int(ts_done or 0), int(ts_total or 0))

    def scriptout(self, msgs):
        if msgs:
            yumIOC.stdoutWrite(bytes2str(msgs))

    def error(self, message):
        yumIOC.errorlog(0, message)


class _TransactionMember(object):
    """One package of a resolved transaction, in yum's shape."""

    def __init__(self, po, output_state, isDep=False):
        self.po = po
        self.output_state = output_state
        self.isDep = isDep
        self.reason = "dep" if isDep else "user"
        self.ts_state = {TS_ERASE: "e", TS_OBSOLETED: None, TS_UPDATED: None}.get(output_state, "u")
        self.obsoletes = []
        self.obsoleted_by = []
        self.updates = []
        self.updated_by = []
        self.relatedto = []

    name = property(lambda self: self.po.name)
    arch = property(lambda self: self.po.arch)
    epoch = property(lambda self: self.po.epoch)
    version = property(lambda self: self.po.version)
    release = property(lambda self: self.po.release)
    ver = version
    rel = release
    pkgtup = property(lambda self: self.po.pkgtup)
    repoid = property(lambda self: self.po.repoid)

    def __str__(self):
        return str(self.po)

    def __repr__(self):
        return "<txmbr %s %d>" % (self.po, self.output_state)


class TransactionInfo(object):
    """A resolved transaction: its members and yum's lists of them."""

    def __init__(self):
        self.installed = []
        self.updated = []
        self.removed = []
        self.obsoleted = []
        self.depinstalled = []
        self.depupdated = []
        self.depremoved = []
        self.reinstalled = []
        self.members = []

    def add(self, txmbr):
        self.members.append(txmbr)

    def getMembers(self):
        return list(self.members)

    def __iter__(self):
        return iter(self.members)

    def __len__(self):
        return len(self.members)

    def makelists(self):
        return (self.installed, self.updated, self.removed, self.obsoleted,
                self.depinstalled, self.depupdated, self.depremoved, self.reinstalled)


class Transactions(object):
    """The transaction of the session's next apply."""

    def setupTs(self):
        self.tsInfo = TransactionInfo()

    def _installCode(self, pkg):
        """yum's code for a package that rpm installs."""
        if getattr(self, "_obsoleting", None) and str(pkg) in self._obsoleting:
            return TS_OBSOLETING
        if pkg.name in self._installonlyNames():
            return TS_TRUEINSTALL
        return TS_INSTALL

    def makelists(self):
        return self.tsInfo.makelists()

    def _request(self, installs, updates, removes):
        base = self._base
        wanted = set()
        removing = set()
        installed = base.sack.query().installed().apply()
        for po in installs:
            base.package_install(po._pkg, strict=True)
            wanted.add(str(po._pkg))
        for pair in updates:
            new = pair[0]
            if str(new._pkg) in wanted:
                continue
            # An install of a newer version replaces the installed one, also
            # across an architecture change, and keeps install-only kinds.  An
            # update that obsoletes other installed packages must be an upgrade
            # job: as an install the solver leaves the obsoleted ones for rpm to
            # drop unlisted.
            if base.conf.obsoletes and base.sack.query().filterm(pkg=[new._pkg]).filterm(obsoletes=installed):
                base.package_upgrade(new._pkg)
            else:
                base.package_install(new._pkg, strict=True)
            wanted.add(str(new._pkg))
        for po in removes:
            base.package_remove(po._pkg)
            removing.add(str(po._pkg))
        requests, self._versionRequests = self._versionRequests, []
        wanted |= _versions.request(base, [(k, po._pkg, v) for k, po, v in requests])
        return wanted, removing

    def _buildTsInfo(self, wanted, removing):
        """yum's transaction members, and the TSINFO lines of what the solver added."""
        A = libdnf.transaction
        base = self._base
        goal = base._goal
        ts = TransactionInfo()
        # old package -> its replacement, by obsoletion (other name) or update (same name)
        obsoletedBy = {}
        upgraded = {}
        incoming = (list(goal.list_installs()) + list(goal.list_upgrades())
                    + list(goal.list_reinstalls()) + list(goal.list_downgrades()))
        for p in incoming:
            for o in goal.obsoleted_by_package(p):
                if o.name != p.name:
                    obsoletedBy.setdefault(str(o), (o, p))
                elif str(p) not in upgraded:
                    upgraded[str(p)] = o
        self._obsoleting = set(str(new) for _old, new in obsoletedBy.values())
        installedNames = set(p.name for p in base.sack.query().installed())
        lines = []
        for tsi in base.transaction:
            if tsi.action == A.TransactionItemAction_REASON_CHANGE:
                continue
            p = tsi.pkg
            key = str(p)
            action = tsi.action
            po = self._wrap(p)
            byUser = key in wanted or key in removing
            if action in (A.TransactionItemAction_INSTALL, A.TransactionItemAction_UPGRADE):
                isUpdate = action == A.TransactionItemAction_UPGRADE or p.name in installedNames
                if key in self._obsoleting:
                    state = TS_OBSOLETING
                elif action == A.TransactionItemAction_UPGRADE:
                    state = TS_UPDATE
                elif p.name in installedNames and p.name in self._installonlyNames():
                    state = TS_TRUEINSTALL
                else:
                    state = TS_INSTALL
                m = _TransactionMember(po, state, not byUser)
                old = upgraded.get(key)
                if old is not None:
                    m.updates.append(self._wrap(old))
                    m.relatedto.append((self._wrap(old), "updates"))
                for o, n in obsoletedBy.values():
                    if str(n) == key:
                        m.obsoletes.append(self._wrap(o))
                        m.relatedto.append((self._wrap(o), "obsoletes"))
                if byUser:
                    (ts.updated if isUpdate else ts.installed).append(m)
                else:
                    (ts.depupdated if isUpdate else ts.depinstalled).append(m)
                    if m.obsoletes:
                        lines += ["Obsoleting %s with %s" % (o, po) for o in m.obsoletes]
                    elif old is not None:
                        lines.append("Marking %s as update for %s" % (po, self._wrap(old)))
                    else:
                        lines.append("Marking %s as install" % po)
            elif action == A.TransactionItemAction_OBSOLETED:
                m = _TransactionMember(po, TS_OBSOLETED)
                pair = obsoletedBy.get(key)
                if pair is not None:
                    npo = self._wrap(pair[1])
                    m.obsoleted_by.append(npo)
                    m.relatedto.append((npo, "obsoletedby"))
                ts.obsoleted.append(m)
            elif action == A.TransactionItemAction_REMOVE:
                m = _TransactionMember(po, TS_ERASE, not byUser)
                (ts.removed if byUser else ts.depremoved).append(m)
                if not byUser:
                    lines.append("%s marked as erase" % po)
            elif action in (A.TransactionItemAction_REINSTALL, A.TransactionItemAction_DOWNGRADE):
                m = _TransactionMember(po, TS_UPDATE, not byUser)
                m.downgrade = action == A.TransactionItemAction_DOWNGRADE
                ts.reinstalled.append(m)
            else:
                # the installed version that an update, downgrade or reinstall replaces
                m = _TransactionMember(po, TS_UPDATED)
            ts.add(m)
        # updated members may come before their replacements
        for m in ts.members:
            if m.output_state == TS_UPDATED and not m.updated_by:
                for other in ts.members:
                    if any(u is m.po for u in other.updates):
                        m.updated_by.append(other.po)
                        m.relatedto.append((other.po, "updatedby"))
        return ts, lines

    def apply(self, installs, updates, removes):
        with LOCK.holding():
            return self._apply(installs, updates, removes)

    def _apply(self, installs, updates, removes):
        base = self._base
        if not self._sackReady:
            self._fillSack()
        base._ds_callback = DepsolveCallback()
        try:
            wanted, removing = self._request(installs, updates, removes)
            # As yum did, a removal takes along the installed packages that need what
            # it removes; they are listed as removed for dependencies, to be confirmed.
            base.resolve(allow_erasing=bool(removing))
        except Exception as e:
            raise yumError(e)
        if not base.transaction:
            yumIOC.log(2, "Nothing to do")
            return None
        self.tsInfo, lines = self._buildTsInfo(wanted, removing)
        for line in lines:
            _tsinfo(line)
        if lines:
            yumIOC.dsRestartLoop()
            yumIOC.dsTsCheck()
        # yum listed the transaction first and then told its download size: the
        # listing starts the text that the confirmation shows.
        yumIOC.listTransaction(self.tsInfo)
        yumIOC.reportDownloadSize([self._wrap(p) for p in base.transaction.install_set])
        if not yumIOC.userconfirm():
            yumIOC.log(2, "Exiting on user Command")
            base.reset(goal=True)
            self.tsInfo = TransactionInfo()
            return None
        remote = [p for p in base.transaction.install_set if not p._is_local_pkg()]
        # recorded in the package manager's history as started by Orvo
        base.args = ["Orvo"]
        try:
            if remote:
                base.download_packages(remote, ApplyMeter(self))
            yumIOC.gpgsigcheck([self._wrap(p) for p in base.transaction.install_set])
            self._checkSignatures(base.transaction.install_set)
            base.do_transaction(display=[_TransactionDisplay(self)])
        except Exception as e:
            raise yumError(e)
        finally:
            LOCK.reassert()
        # rpm goes on past a package whose scriptlet fails and leaves it out; yum
        # reported that as a failed transaction.
        failed = [str(tsi) for tsi in base.transaction
                  if tsi.state == libdnf.transaction.TransactionItemState_ERROR]
        if failed:
            raise Errors.YumBaseError("Transaction failed: %s" % ", ".join(failed))
        yumIOC.postTransactionOutput(self.tsInfo)
        return None

    def _checkSignatures(self, pkgs):
        base = self._base
        for p in pkgs:
            code, msg = base.package_signature_check(p)
            if code == 0:
                continue
            if code == 1:
                def ask(po, userid, hexkeyid):
                    return bool(yumIOC.userconfirm())
                try:
                    base.package_import_key(p, askcb=ask)
                    continue
                except dnf.exceptions.Error as e:
                    msg = str(e)
            raise Errors.YumBaseError(msg)

    def applyFailCleanup(self):
        self.flush()

    def flush(self):
        """End an apply, whatever became of it: the resolved transaction is dropped
        and the object stays ready for the next apply, extra-data load and
        description, on the same catalogue."""
        if self._base is not None:
            try:
                self._base.reset(goal=True)
            except Exception:
                pass
        self.tsInfo = TransactionInfo()
        self._obsoleting = set()
        self._versionRequests = []
        LOCK.reassert()
