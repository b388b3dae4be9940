// Applying the marked actions: the lists handed to yum, the listing of the resolved
// transaction, the user's confirmation, and the call that runs it all.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "progress/ProgressObject.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIOCapturersUser.h"
#include "yumio/YumIODialogs.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/wait.h>

namespace {

// The script's makelists() tuple, by position.
enum TransactionList {
    Installed = 0,
    Updated = 1,
    Removed = 2,
    Obsoleted = 3,
    DepInstalled = 4,
    DepUpdated = 5,
    DepRemoved = 6,
    Reinstalled = 7,
    ListCount = 8,
};

QString errnoText(int number)
{
    return QString::fromLocal8Bit(std::strerror(number));
}

} // namespace

bool YumIO::applyReal()
{
    log(Log::Heading, 0, tr("Applying"));

    progress_->startTotal(tr("Checking Dependencies: Total Progress"), 10000);
    progress_->startItem(tr("Preparing"), 100, 1);

    transactionText_.clear();
    transactionListed_ = false;
    applied_ = false;
    packageCount_ = missingHeaders_ = 0;
    dsActs_ = dsDownloads_ = dsPassActs_ = dsDoneActs_ = 0;
    transactionWeight_ = totalDownloadWeight_ = toDownloadWeight_ = 0;
    downloadActs_ = 0;
    tsEventStarted_ = false;
    lastTsIndex_ = -1;
    resetApplyProgress();
    collectMeter_.forgetFiles();

    PyRef installs = PyRef::steal(PyList_New(0));
    PyRef updates = PyRef::steal(PyList_New(0));
    PyRef removes = PyRef::steal(PyList_New(0));
    if (!installs || !updates || !removes) {
        handleException();
        progress_->reset();
        return false;
    }
    if (!applySteps(installs.get(), updates.get(), removes.get()))
        return false;

    PyRef flushed = pyMethodCall(yumIO_.get(), "flush", "()");
    flushed.reset();
    installs.reset();
    updates.reset();
    removes.reset();
    progress_->reset();
    return applied_;
}

bool YumIO::applySteps(PyObject* installs, PyObject* updates, PyObject* removes)
{
    for (Package::Entry* entry : qAsConst(entries_)) {
        entry->workAction = removingDuplicates_ ? Package::None : entry->action;
        entry->markedBy = entry;
        for (Package::Entry* e = entry; e; e = e->next)
            e->started = false;
    }
    if (removingDuplicates_) {
        for (const PyRef& duplicate : duplicates_) {
            if (PyList_Append(removes, duplicate.get()) < 0) {
                PyErr_Clear();
                error(tr("Unable to add package %1 to removes list").arg(pyStringX(duplicate.get())));
            }
            ++packageCount_;
        }
    } else if (!applyGroups() || !applyLists(installs, updates, removes)) {
        return false;
    }

    // The user's packages count as the solver's first pass.  The acts reached stay at 0
    // until a pass is done: a pass that ends early would put the total bar beyond where
    // it stands once a restart widens the acts.
    dsActs_ = dsDoneActs_ = packageCount_;
    dsDownloads_ = missingHeaders_;
    progress_->setupItemActs(9900, Steps(packageCount_) + 10 * Steps(missingHeaders_));

    if (!reapChildren()) {
        progress_->reset();
        return false;
    }
    applyCall(installs, updates, removes);
    return true;
}

namespace {

// A (kind, package, version-release) request for the script's requestVersions.
bool appendVersionRequest(PyObject* requests, const char* kind, PyObject* package, const QString& verRel)
{
    PyRef request = PyRef::steal(Py_BuildValue("(sOs)", kind, package, verRel.toUtf8().constData()));
    return request && PyList_Append(requests, request.get()) == 0;
}

} // namespace

bool YumIO::applyLists(PyObject* installs, PyObject* updates, PyObject* removes)
{
    // Downgrades, reinstalls and installs of another version than the row's go to the
    // script beside the three lists.
    PyRef requests = PyRef::steal(PyList_New(0));
    for (Package::Entry* entry : qAsConst(entries_)) {
        if (entry->kind == Package::Group)
            continue;
        const bool toOther = entry->workAction == Package::Downgrade || entry->workAction == Package::Reinstall
            || (entry->workAction == Package::Install && !entry->targetVerRel.isEmpty());
        if (toOther && requests) {
            Package::Entry* installed = entry->state == Package::AvailableForUpdate ? entry->next : entry;
            const char* kind = entry->workAction == Package::Downgrade ? "downgrade"
                : entry->workAction == Package::Reinstall              ? "reinstall"
                                                                       : "install";
            const QString verRel = !installed ? QString()
                : entry->workAction == Package::Reinstall ? installed->verRel
                                                          : entry->targetVerRel;
            if (!installed || !appendVersionRequest(requests.get(), kind, installed->yumObject.get(), verRel)) {
                PyErr_Clear();
                error(tr("Unable to add package %1 to installs list").arg(entry->name));
            }
            ++packageCount_;
            // rpm replaces the installed version as in an update.
            if (entry->workAction != Package::Install)
                entry->workAction = Package::Update;
            continue;
        }
        switch (entry->workAction) {
        case Package::Remove: {
            // The head of an entry available for update is the newer version, which is
            // not installed.
            Package::Entry* first = entry->state == Package::AvailableForUpdate ? entry->next : entry;
            for (Package::Entry* e = first; e; e = e->next) {
                if (PyList_Append(removes, e->yumObject.get()) < 0) {
                    PyErr_Clear();
                    error(tr("Unable to add package %1 to removes list").arg(entry->name));
                }
                ++packageCount_;
            }
            break;
        }
        case Package::Install:
            if (PyList_Append(installs, entry->yumObject.get()) < 0) {
                PyErr_Clear();
                error(tr("Unable to add package %1 to installs list").arg(entry->name));
            }
            ++packageCount_;
            if (localFileMissing(entry->yumObject.get(), true))
                ++missingHeaders_;
            break;
        case Package::Update: {
            if (!entry->next) {
                error(tr("Internal error: Unable to find installed version for package update %1").arg(entry->name));
                return false;
            }
            ++packageCount_;
            for (Package::Entry* old = entry->next; old; old = old->next) {
                PyRef pair = PyRef::steal(PyList_New(2));
                if (!pair) {
                    PyErr_Clear();
                    error(tr("Unable to add new package to pair for updated package %1").arg(entry->name));
                    continue;
                }
                // PyList_SetItem steals: give it references of its own.
                if (PyList_SetItem(pair.get(), 0, PyRef::borrow(entry->yumObject.get()).release()) < 0) {
                    PyErr_Clear();
                    error(tr("Unable to add new package to pair for updated package %1").arg(entry->name));
                }
                if (PyList_SetItem(pair.get(), 1, PyRef::borrow(old->yumObject.get()).release()) < 0) {
                    PyErr_Clear();
                    error(tr("Unable to add old package to pair for updated package %1").arg(entry->name));
                }
                if (PyList_Append(updates, pair.get()) < 0) {
                    PyErr_Clear();
                    error(tr("Unable to add package %1 to updates list").arg(entry->name));
                }
                ++packageCount_;
            }
            if (localFileMissing(entry->yumObject.get(), true))
                ++missingHeaders_;
            break;
        }
        default:
            break;
        }
    }
    if (requests && PyObject_Length(requests.get()) > 0) {
        PyRef set = pyMethodCall(yumIO_.get(), "requestVersions", "(O)", requests.get());
        if (!set) {
            handleException();
            return false;
        }
    }
    return true;
}

bool YumIO::applyCall(PyObject* installs, PyObject* updates, PyObject* removes)
{
    // rpm and its scriptlets write to the process's own descriptors.
    YumIOCapturersUser capture(capturers_, this);
    sigchldDisable();
    pyExceptStart();
    commExceptSetup();
    PyRef result = pyMethodCall(yumIO_.get(), "apply", "(O,O,O)", installs, updates, removes);
    const bool ok = !commExceptRaised(result.get(), tr("apply changes")) && result;
    pyExceptClear();
    if (!ok) {
        applied_ = false;
        PyRef cleaned = pyMethodCall(yumIO_.get(), "applyFailCleanup", "()");
    }
    result.reset();
    sigchldRestore();
    return ok;
}

bool YumIO::installedChanged()
{
    PyGILStateWrapper lock(true);
    PyRef changed = pyMethodCall(yumIO_.get(), "installedChanged", "()");
    if (!changed) {
        PyErr_Clear();
        return false;
    }
    return PyObject_IsTrue(changed.get()) == 1;
}

QStringList YumIO::olderDuplicates()
{
    QStringList names;
    PyGILStateWrapper lock(true);
    PyRef found = pyMethodCall(yumIO_.get(), "olderDuplicates", "()");
    PyRef iterator = PyRef::steal(found ? PyObject_GetIter(found.get()) : nullptr);
    while (iterator) {
        PyRef package = PyRef::steal(PyIter_Next(iterator.get()));
        if (!package)
            break;
        names << pyStringX(package.get());
        // Kept for removeDuplicates only while it runs: the entries' objects are
        // the only ones the engine keeps between operations.
        if (removingDuplicates_)
            duplicates_.push_back(std::move(package));
    }
    PyErr_Clear();
    return names;
}

bool YumIO::removeDuplicates()
{
    removingDuplicates_ = true;
    const bool found = !olderDuplicates().isEmpty();
    const bool applied = found && apply();
    removingDuplicates_ = false;
    PyGILStateWrapper lock(true);
    duplicates_.clear();
    return applied;
}

int YumIO::markedCount() const
{
    return int(std::count_if(entries_.cbegin(), entries_.cend(),
                             [](const Package::Entry* e) { return e->action != Package::None; }));
}

bool YumIO::collectKeepingMarks(const QHash<QString, bool>& requests, QStringList& dropped)
{
    struct Mark {
        QString key;
        QString name;
        Package::Action action;
        QString targetVerRel;
    };
    const auto keyOf = [](const Package::Entry* e) {
        return QStringLiteral("%1|%2|%3|%4|%5").arg(int(e->kind)).arg(e->name, e->arch, e->verRel).arg(int(e->state));
    };
    QVector<Mark> marks;
    for (const Package::Entry* e : qAsConst(entries_))
        if (e->action != Package::None)
            marks.append({ keyOf(e), e->name, e->action, e->targetVerRel });
    if (!clear() || !collect(requests))
        return false;
    // A mark holds where the same package is still there in the same state.
    QHash<QString, Package::Entry*> byKey;
    for (Package::Entry* e : qAsConst(entries_))
        byKey.insert(keyOf(e), e);
    for (const Mark& m : qAsConst(marks)) {
        if (Package::Entry* e = byKey.value(m.key)) {
            e->action = m.action;
            e->targetVerRel = m.targetVerRel;
        } else
            dropped << m.name;
    }
    return true;
}

QString YumIO::getLocalHdr(PyObject* package)
{
    return pyStringX(pyMethodCall(package, "localHdr", "()").get());
}

QString YumIO::getLocalPkg(PyObject* package)
{
    return pyStringX(pyMethodCall(package, "localPkg", "()").get());
}

bool YumIO::localFileMissing(PyObject* package, bool header)
{
    return !QFile::exists(header ? getLocalHdr(package) : getLocalPkg(package));
}

// ---- confirmation

PyObject* YumIO::userconfirm(PyObject*, PyObject*)
{
    Progress::Object* progress = progress_;
    if (progress) {
        progress->endItemActs();
        progress->reset();
    }
    applyActs = 0;

    const bool listed = transactionListed_;
    const int answer = !dialogs_ ? 0
        : listed ? dialogs_->confirm(tr("Apply"), transactionText_, tr("OK"), tr("Cancel"))
                 : dialogs_->confirm(tr("Query"), transactionText_, tr("Yes"), tr("No"));
    const bool confirmed = answer == 1;
    if (listed) {
        log(Log::Heading, 0, confirmed ? tr("Applying: OK") : tr("Not Applying: Canceled"));
        applied_ = confirmed;
        if (confirmed) {
            downloadActs_ =
                totalDownloadWeight_ ? quint32(24000 * toDownloadWeight_ / totalDownloadWeight_) : 0;
            const Steps total = Steps(downloadActs_) + (usesPresto() ? 2000 : 0) + (hasTransTest() ? 2000 : 0) + 9100;
            if (progress) {
                progress->startTotal(tr("Running Transaction: Total Progress"), total);
                progress->startItem(tr("Preparing"), 100, 1);
                progress->setupItemActs(downloadActs_, toDownloadWeight_);
            }
        }
    } else {
        log(Log::Heading, 0, confirmed ? tr("Confirmation: Yes") : tr("Confirmation: No"));
    }
    transactionText_.clear();
    transactionListed_ = false;
    return PyLong_FromLong(confirmed ? 1 : 0);
}

PyObject* YumIO::reportDownloadSize(PyObject*, PyObject* args)
{
    PyObject* packages = nullptr;
    if (!PyArg_ParseTuple(args, YumIOCFormat::reportDownloadSize, &packages))
        return nullptr;
    qint64 bytes = 0;
    if (PyRef iterator = PyRef::steal(PyObject_GetIter(packages))) {
        while (PyRef package = PyRef::steal(PyIter_Next(iterator.get())))
            bytes += sizeOf(package.get());
    }
    if (PyErr_Occurred())
        handleException();
    transactionText_ += tr("Total download size: %1\n").arg(bytesFormat((unsigned long long)std::max<qint64>(bytes, 0)));
    return noneResult();
}

// ---- the listing

PyObject* YumIO::makeLists()
{
    PyRef lists = pyMethodCall(yumIO_.get(), "makelists", "()");
    if (!lists)
        return nullptr;
    if (!PyTuple_Check(lists.get())) {
        error("Internal error: yumIO.makelists() did not return a tuple\n");
        return nullptr;
    }
    if (PyTuple_Size(lists.get()) != ListCount) {
        error("Internal error: yumIO.makelists() returned tuple of incorrect size\n");
        return nullptr;
    }
    return lists.release();
}

QString YumIO::pkgtupFormat(const QString& name, const QString& arch, const QString& epoch, const QString& version,
                            const QString& release)
{
    if (epoch.isEmpty() || epoch == QLatin1String("0"))
        return QStringLiteral("%1 %3-%4 (%2)").arg(name, arch, version, release);
    return QStringLiteral("%1 %3:%4-%5 (%2)").arg(name, arch, epoch, version, release);
}

bool YumIO::memberLine(PyObject* member, QString& line)
{
    PyRef tuple = PyRef::steal(PyObject_GetAttrString(member, "pkgtup"));
    if (!tuple || !PySequence_Check(tuple.get()) || PySequence_Size(tuple.get()) < 5) {
        PyErr_Clear();
        error("Internal error: txmbr lacks pkgtup\n");
        return false;
    }
    QString fields[5];
    for (int i = 0; i < 5; ++i)
        fields[i] = pyStringXDec(PySequence_GetItem(tuple.get(), i));
    line = pkgtupFormat(fields[0], fields[1], fields[2], fields[3], fields[4]);
    return true;
}

bool YumIO::displayTransactionPkgs(const QString& word, PyObject* members, bool withRepo)
{
    PyRef iterator = PyRef::steal(PyObject_GetIter(members));
    if (!iterator) {
        PyErr_Clear();
        return false;
    }
    while (PyRef member = PyRef::steal(PyIter_Next(iterator.get()))) {
        QString text;
        if (!memberLine(member.get(), text))
            return false;
        if (withRepo)
            text += QStringLiteral(" [%1]").arg(pyStringXDec(PyObject_GetAttrString(member.get(), "repoid")));
        PyErr_Clear();
        transactionText_ += QStringLiteral("\t%1: %2\n").arg(word, text);
    }
    PyErr_Clear();
    return true;
}

PyObject* YumIO::findRelation(PyObject* member, const char* relation)
{
    PyRef related = PyRef::steal(PyObject_GetAttrString(member, "relatedto"));
    PyRef iterator = related ? PyRef::steal(PyObject_GetIter(related.get())) : PyRef();
    if (!iterator) {
        PyErr_Clear();
        error("Internal error: package has no relatedto\n");
        return nullptr;
    }
    while (PyRef pair = PyRef::steal(PyIter_Next(iterator.get()))) {
        if (!PySequence_Check(pair.get()) || PySequence_Size(pair.get()) < 2)
            continue;
        PyRef kind = PyRef::steal(PySequence_GetItem(pair.get(), 1));
        if (kind && pyStringX(kind.get()) == QLatin1String(relation))
            return PySequence_GetItem(pair.get(), 0);
    }
    PyErr_Clear();
    error(QStringLiteral("Internal error: couldn't find %1 package\n").arg(QLatin1String(relation)));
    return nullptr;
}

bool YumIO::displayTransactionPkgsObs(PyObject* members)
{
    PyRef iterator = PyRef::steal(PyObject_GetIter(members));
    if (!iterator) {
        PyErr_Clear();
        return false;
    }
    while (PyRef member = PyRef::steal(PyIter_Next(iterator.get()))) {
        QString obsoleted;
        QString obsoleting;
        PyRef partner = PyRef::steal(findRelation(member.get(), "obsoletedby"));
        if (!partner || !memberLine(member.get(), obsoleted) || !memberLine(partner.get(), obsoleting))
            return false;
        transactionText_ += QStringLiteral("\t%1: %2 with %3\n").arg(tr("Obsoleting"), obsoleted, obsoleting);
    }
    PyErr_Clear();
    return true;
}

namespace {

bool isEmpty(PyObject* list)
{
    return PyObject_Length(list) <= 0;
}

} // namespace

PyObject* YumIO::listTransaction(PyObject*, PyObject* args)
{
    PyObject* transaction = nullptr;
    if (!PyArg_ParseTuple(args, YumIOCFormat::listTransaction, &transaction))
        return nullptr;
    transactionText_.clear();
    transactionListed_ = true;
    PyRef lists = PyRef::steal(makeLists());
    if (!lists) {
        if (!PyErr_Occurred())
            PyErr_SetString(PyExc_RuntimeError, "listTransaction: no transaction lists");
        return nullptr;
    }
    PyObject* list[ListCount];
    for (int i = 0; i < ListCount; ++i)
        list[i] = PyTuple_GetItem(lists.get(), i); // borrowed

    const QString install = tr("Install");
    const QString update = tr("Update");
    const QString remove = tr("Remove");
    transactionText_ += tr("Transaction to be performed:\n");
    bool listed = displayTransactionPkgs(install, list[Installed], true)
        && displayTransactionPkgs(update, list[Updated], true) && displayTransactionPkgs(remove, list[Removed], false);
    // Downgrades and reinstalls, each with its own word.
    if (PyRef each = PyRef::steal(PyObject_GetIter(list[Reinstalled]))) {
        while (listed) {
            PyRef member = PyRef::steal(PyIter_Next(each.get()));
            if (!member)
                break;
            PyRef downgrade = PyRef::steal(PyObject_GetAttrString(member.get(), "downgrade"));
            PyErr_Clear();
            PyRef single = PyRef::steal(PyTuple_Pack(1, member.get()));
            listed = single
                && displayTransactionPkgs(downgrade && PyObject_IsTrue(downgrade.get()) == 1 ? tr("Downgrade") : tr("Reinstall"),
                                          single.get(), true);
        }
    }
    PyErr_Clear();
    if (listed && !(isEmpty(list[DepInstalled]) && isEmpty(list[DepUpdated]) && isEmpty(list[DepRemoved]))) {
        transactionText_ += tr("Performing the following to resolve dependencies:\n");
        listed = displayTransactionPkgs(install, list[DepInstalled], true)
            && displayTransactionPkgs(update, list[DepUpdated], true)
            && displayTransactionPkgs(remove, list[DepRemoved], false);
    }
    if (listed && !isEmpty(list[Obsoleted])) {
        transactionText_ += tr("Other Transactions:\n");
        displayTransactionPkgsObs(list[Obsoleted]);
    }
    PyErr_Clear();

    noteTransactionPkgs(Package::Install, list[Installed]);
    noteTransactionPkgs(Package::Update, list[Updated]);
    noteTransactionPkgs(Package::Remove, list[Removed]);
    noteTransactionPkgs(Package::Install, list[DepInstalled]);
    noteTransactionPkgs(Package::Update, list[DepUpdated]);
    noteTransactionPkgs(Package::Remove, list[DepRemoved]);
    noteTransactionPkgs(Package::Remove, list[Obsoleted]);
    noteTransactionPkgs(Package::Update, list[Reinstalled]);
    return noneResult();
}

Package::Entry* YumIO::memberEntry(PyObject* member, QString& name, QString& arch)
{
    PyRef tuple = PyRef::steal(PyObject_GetAttrString(member, "pkgtup"));
    if (!tuple || !PySequence_Check(tuple.get()) || PySequence_Size(tuple.get()) < 2) {
        PyErr_Clear();
        error("Internal error: txmbr lacks pkgtup\n");
        return nullptr;
    }
    name = pyStringXDec(PySequence_GetItem(tuple.get(), 0));
    arch = pyStringXDec(PySequence_GetItem(tuple.get(), 1));
    PyErr_Clear();
    Package::Entry* entry = findEntry(EntryKey(false, name, getBiArch(arch)));
    if (!entry)
        error(tr("Internal error: Unable to find package for install/update/remove of %1.%2").arg(name, arch));
    return entry;
}

bool YumIO::noteTransactionPkgs(Package::Action action, PyObject* members)
{
    PyRef iterator = PyRef::steal(PyObject_GetIter(members));
    if (!iterator) {
        PyErr_Clear();
        return false;
    }
    while (PyRef member = PyRef::steal(PyIter_Next(iterator.get()))) {
        QString name;
        QString arch;
        Package::Entry* entry = memberEntry(member.get(), name, arch);
        if (!entry)
            continue;
        if (action == Package::Remove) {
            // The installed version the member names, among the versions of the entry.
            const QString epoch = pyStringXDec(PyObject_GetAttrString(member.get(), "epoch"));
            const QString version = pyStringXDec(PyObject_GetAttrString(member.get(), "ver"));
            const QString release = pyStringXDec(PyObject_GetAttrString(member.get(), "rel"));
            PyErr_Clear();
            const QString verRel = epoch.isEmpty() || epoch == QLatin1String("0")
                ? QStringLiteral("%1-%2").arg(version, release)
                : QStringLiteral("%1:%2-%3").arg(epoch, version, release);
            Package::Entry* instance = entry->state == Package::AvailableForUpdate ? entry->next : entry;
            while (instance && instance->verRel != verRel)
                instance = instance->next;
            transactionWeight_ += removeWeight(instance ? instance->size : entry->size);
            if (entry->workAction == Package::None)
                entry->workAction = Package::Remove;
            continue;
        }
        const quint64 weight = hasMultiProgress() ? quint64(std::max<qint64>(entry->size, 0))
                                                  : std::max<quint64>(quint64(std::max<qint64>(entry->size, 0)), 10240);
        totalDownloadWeight_ += weight;
        PyRef package = PyRef::steal(PyObject_GetAttrString(member.get(), "po"));
        PyErr_Clear();
        if (localFileMissing(package ? package.get() : entry->yumObject.get(), false))
            toDownloadWeight_ += weight;
        transactionWeight_ += installWeight(entry->size);
        // rpm completes an update by removing each version it replaces.
        if (PyRef replaced = PyRef::steal(PyObject_GetAttrString(member.get(), "updates"))) {
            if (PyRef each = PyRef::steal(PyObject_GetIter(replaced.get())))
                while (PyRef old = PyRef::steal(PyIter_Next(each.get())))
                    transactionWeight_ += completeWeight(sizeOf(old.get()));
        }
        PyErr_Clear();
        if (entry->workAction == Package::None)
            entry->workAction = action;
    }
    PyErr_Clear();
    return true;
}

// ---- after the run

PyObject* YumIO::postTransactionOutput(PyObject*, PyObject* args)
{
    PyObject* transaction = nullptr;
    if (!PyArg_ParseTuple(args, YumIOCFormat::postTransactionOutput, &transaction))
        return nullptr;
    PyRef lists = PyRef::steal(makeLists());
    if (!lists) {
        PyErr_Clear();
        return noneResult();
    }
    static const struct {
        int list;
        const char* heading;
    } sections[] = {
        { Installed, QT_TR_NOOP("Installed:") },
        { DepInstalled, QT_TR_NOOP("Dependency Installed:") },
        { Updated, QT_TR_NOOP("Updated:") },
        { DepUpdated, QT_TR_NOOP("Dependency Updated:") },
        { Removed, QT_TR_NOOP("Removed:") },
        { DepRemoved, QT_TR_NOOP("Dependency Removed:") },
        { Obsoleted, QT_TR_NOOP("Replaced:") },
    };
    for (const auto& section : sections) {
        PyObject* members = PyTuple_GetItem(lists.get(), section.list); // borrowed
        if (!members || isEmpty(members))
            continue;
        log(Log::Info, 2, tr(section.heading));
        PyRef iterator = PyRef::steal(PyObject_GetIter(members));
        while (PyRef member = iterator ? PyRef::steal(PyIter_Next(iterator.get())) : PyRef()) {
            QString line;
            if (memberLine(member.get(), line))
                log(Log::Info, 2, QStringLiteral("  ") + line);
        }
    }
    // Downgrades and reinstalls share a list; each line says which it was.
    PyObject* others = PyTuple_GetItem(lists.get(), Reinstalled); // borrowed
    PyRef iterator = PyRef::steal(others ? PyObject_GetIter(others) : nullptr);
    while (PyRef member = iterator ? PyRef::steal(PyIter_Next(iterator.get())) : PyRef()) {
        QString line;
        PyRef downgrade = PyRef::steal(PyObject_GetAttrString(member.get(), "downgrade"));
        PyErr_Clear();
        if (memberLine(member.get(), line))
            log(Log::Info, 2, (downgrade && PyObject_IsTrue(downgrade.get()) == 1 ? tr("Downgraded: %1") : tr("Reinstalled: %1")).arg(line));
    }
    PyErr_Clear();
    return noneResult();
}

PyObject* YumIO::gpgsigcheck(PyObject*, PyObject*)
{
    // The script checks the signatures itself and asks through userconfirm for keys.
    return noneResult();
}

// ---- processes and signals

bool YumIO::reapChildren()
{
    for (;;) {
        const pid_t child = waitpid(-1, nullptr, WNOHANG);
        if (child > 0) {
            log(Log::Warning, 0, tr("Reaped zombie child %1").arg(child));
            continue;
        }
        if (child == 0 || errno == ECHILD)
            return true;
        const int number = errno;
        error(tr("Unable to reap children; errno=%1 (%2)").arg(number).arg(errnoText(number)));
        return false;
    }
}

bool YumIO::sigchldDisable()
{
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;
    auto* previous = new struct sigaction;
    if (sigaction(SIGCHLD, &action, previous) != 0) {
        const int number = errno;
        delete previous;
        error(tr("Unable to disable SIGCHLD signal handler; errno=%1 (%2)").arg(number).arg(errnoText(number)));
        return false;
    }
    delete sigchldPrevious_;
    sigchldPrevious_ = previous;
    return true;
}

bool YumIO::sigchldRestore()
{
    if (!sigchldPrevious_)
        return true;
    const int status = sigaction(SIGCHLD, sigchldPrevious_, nullptr);
    const int number = errno;
    delete sigchldPrevious_;
    sigchldPrevious_ = nullptr;
    if (status != 0) {
        error(tr("Unable to restore SIGCHLD signal handler; errno=%1 (%2)").arg(number).arg(errnoText(number)));
        return false;
    }
    return true;
}
