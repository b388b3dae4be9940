// rpm's transaction callbacks and yum's transaction events: which entry rpm works on now,
// and the progress bars that follow it.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "progress/ProgressObject.h"
#include "yumio/PackageEntry.h"

#include <algorithm>

namespace {

// rpm's callback bits, in the order they are handled.
enum : long {
    InstProgress = 1,
    InstStart = 2,
    InstOpenFile = 4,
    InstCloseFile = 8,
    TransProgress = 16,
    TransStart = 32,
    TransStop = 64,
    UninstProgress = 128,
    UninstStart = 256,
    UninstStop = 512,
};

// yum's transaction-member codes.
enum : long {
    TsUpdate = 10,
    TsInstall = 20,
    TsTrueInstall = 30,
    TsErase = 40,
    TsObsoleted = 50,
    TsObsoleting = 60,
    TsAvailable = 70,
    TsUpdated = 90,
};

constexpr quint64 minimumWeight = 10240;

} // namespace

quint64 YumIO::installWeight(qint64 size)
{
    return std::max<quint64>(minimumWeight, 3 * quint64(std::max<qint64>(size, 0)));
}

quint64 YumIO::removeWeight(qint64 size)
{
    return std::max<quint64>(quint64(std::max<qint64>(size, 0)), minimumWeight);
}

quint64 YumIO::completeWeight(qint64 size)
{
    return std::max<quint64>(minimumWeight, quint64(std::max<qint64>(size, 0)) / 5);
}

Package::Entry* YumIO::findPackage(const QString& name)
{
    if (Package::Entry* entry = findEntry(EntryKey(false, name, getBiArch(baseArch_))))
        return entry;
    // The set holds classes, the base architecture is a raw name: compared as they are.
    for (const QString& biArch : qAsConst(biArchs_)) {
        if (biArch == baseArch_)
            continue;
        if (Package::Entry* entry = findEntry(EntryKey(false, name, biArch)))
            return entry;
    }
    return nullptr;
}

Package::Entry* YumIO::findPackage(const QString& name, bool (YumIO::*accept)(Package::Entry*))
{
    Package::Entry* entry = findEntry(EntryKey(false, name, getBiArch(baseArch_)));
    if (entry && (this->*accept)(entry))
        return entry;
    for (const QString& biArch : qAsConst(biArchs_)) {
        if (biArch == baseArch_)
            continue;
        entry = findEntry(EntryKey(false, name, biArch));
        if (entry && (this->*accept)(entry))
            return entry;
    }
    return nullptr;
}

namespace {

bool hasNotStarted(const Package::Entry* entry)
{
    for (const Package::Entry* e = entry; e; e = e->next)
        if (!e->started)
            return true;
    return false;
}

} // namespace

bool YumIO::hasNotStartedUpdate(Package::Entry* entry)
{
    return entry->workAction == Package::Update && hasNotStarted(entry);
}

bool YumIO::hasNotStartedRemove(Package::Entry* entry)
{
    return entry->workAction == Package::Remove && hasNotStarted(entry);
}

PyObject* YumIO::tsInitCallback(PyObject*, PyObject* args)
{
    long run = 0;
    if (!PyArg_ParseTuple(args, YumIOCFormat::tsInitCallback, &run))
        return nullptr;
    applyActs = 0;
    tsEventStarted_ = false;
    lastTsIndex_ = -1;
    Progress::Object* progress = progress_;
    if (!progress)
        return noneResult();
    if (run) {
        progress->endItemActs();
        progress->startItem(tr("Preparing to Run Transaction"), 1000, 1);
        progress->setupItemActs(8000, transactionWeight_ + transactionWeight_ / 20);
        return noneResult();
    }
    if (!deltaRebuild) {
        progress->endItemActs();
        if (usesPresto()) {
            progress->startItem(tr("Finishing RPM rebuild from deltas"), 2000, 1);
            progress->setItemValue(1);
        }
    }
    if (hasTransTest()) {
        progress->startItem(tr("Preparing to Test Transaction"), 1000, 1);
        progress->setupItemActs(1000, transactionWeight_ / 20);
    }
    return noneResult();
}

void YumIO::startInstall(Package::Entry* entry, const QString& text, qint64 itemTail)
{
    applyActs += qint64(installWeight(entry->size));
    // A downgrade or reinstall of an installed row installs another package: the row's
    // own version is yet to be replaced.
    if (entry->state != Package::Installed || entry->workAction != Package::Update)
        entry->started = true;
    log(Log::Info, 1, text);
    if (progress_)
        progress_->startItemAct(text, Steps(std::max<qint64>(itemTail, 0)), Steps(applyActs));
}

Package::Entry* YumIO::removalEntry(const QString& name, bool& completing, const char* unexpected)
{
    Package::Entry* entry = completing ? findPackage(name, &YumIO::hasNotStartedUpdate) : nullptr;
    completing = entry != nullptr;
    if (!entry)
        entry = findPackage(name, &YumIO::hasNotStartedRemove);
    if (!entry) {
        warning(tr(unexpected).arg(name));
        entry = findPackage(name);
    }
    return entry;
}

void YumIO::startRemoval(Package::Entry* entry, bool completing, const QString& name, qint64 itemTail)
{
    // The head of an entry available for update is the new version, not an installed one.
    Package::Entry* instance = entry->state == Package::AvailableForUpdate ? entry->next : entry;
    while (instance && instance->started)
        instance = instance->next;
    if (!instance) {
        warning(tr("Internal error: YumIO::tsCallback UNINST of %1 too many times").arg(name));
        instance = entry;
    }
    instance->started = true;
    const QString text = completing ? tr("Completing update for: %1").arg(name) : tr("Removing %1").arg(name);
    applyActs += qint64(completing ? completeWeight(instance->size) : removeWeight(instance->size));
    // Every step of the run has its line, the old version's cleanup and erasures too.
    log(Log::Info, 1, text);
    if (progress_)
        progress_->startItemAct(text, Steps(std::max<qint64>(itemTail, 0)), Steps(applyActs));
}

PyObject* YumIO::tsCallback(PyObject*, PyObject* args)
{
    long what = 0;
    long long amount = 0;
    long long total = 0;
    PyObject* key = nullptr;
    PyObject* client = nullptr;
    if (!PyArg_ParseTuple(args, YumIOCFormat::tsCallback, &what, &amount, &total, &key, &client))
        return nullptr;
    Progress::Object* progress = progress_;
    const Steps value = Steps(std::max<long long>(amount, 0));
    const Steps tail = Steps(std::max<long long>(total, 0));
    bool understood = false;

    if (what & (InstOpenFile | InstCloseFile))
        understood = true;
    if (what & TransStart) {
        understood = true;
        applyActs += qint64(transactionWeight_ / 20);
        if (progress)
            progress->startItemAct(tr("Transaction Test"), tail, Steps(applyActs));
    }
    if (what & TransProgress) {
        understood = true;
        if (progress)
            progress->setItemValue(value);
    }
    if (what & TransStop) {
        understood = true;
        if (progress)
            progress->setItemValue(tail);
    }
    if (what & InstStart) {
        understood = true;
        PyObject* header = PyTuple_Check(key) && PyTuple_Size(key) > 0 ? PyTuple_GetItem(key, 0) : nullptr;
        const QString name = pyMappingString(header, "name");
        const QString arch = pyMappingString(header, "arch");
        Package::Entry* entry = findEntry(EntryKey(false, name, getBiArch(arch)));
        if (entry) {
            const QString text = entry->workAction == Package::Update ? tr("Updating %1").arg(name)
                                                                      : tr("Installing %1").arg(name);
            startInstall(entry, text, total);
        } else {
            error(tr("Internal error: Unable to find package for install/update of %1.%2").arg(name, arch));
        }
    }
    if (what & InstProgress) {
        understood = true;
        if (progress)
            progress->setItemValue(value);
    }
    if (what & UninstStart) {
        understood = true;
        const QString name = pyString(key);
        bool completing = true;
        if (Package::Entry* entry =
                removalEntry(name, completing, QT_TR_NOOP("Internal error: YumIO::tsCallback UNINST of %1 not expected")))
            startRemoval(entry, completing, name, total);
    }
    if (what & UninstProgress) {
        understood = true;
        if (progress)
            progress->setItemValue(value);
    }
    if (what & UninstStop) {
        understood = true;
        if (progress)
            progress->setItemValue(tail);
    }
    if (!understood)
        warning(tr("Internal error: YumIO::tsCallback what=%1 not understood; ignoring").arg(what));
    return noneResult();
}

PyObject* YumIO::tsEvent(PyObject*, PyObject* args)
{
    PyObject* package = nullptr;
    long action = 0;
    long long done = 0;
    long long bytes = 0;
    long index = 0;
    long count = 0;
    if (!PyArg_ParseTuple(args, YumIOCFormat::tsEvent, &package, &action, &done, &bytes, &index, &count))
        return nullptr;
    if (!tsEventStarted_) {
        applyActs += qint64(transactionWeight_ / 20);
        tsEventStarted_ = true;
    }
    const Steps value = Steps(std::max<long long>(done, 0));
    switch (action) {
    case TsUpdate:
    case TsInstall:
    case TsTrueInstall:
    case TsObsoleting: {
        const bool update = action == TsUpdate || action == TsObsoleting;
        if (index != lastTsIndex_) {
            const QString name = pyStringDec(PyObject_GetAttrString(package, "name"));
            const QString arch = pyStringDec(PyObject_GetAttrString(package, "arch"));
            PyErr_Clear();
            if (Package::Entry* entry = findEntry(EntryKey(false, name, getBiArch(arch)))) {
                startInstall(entry, update ? tr("Updating %1").arg(name) : tr("Installing %1").arg(name), bytes);
                lastTsIndex_ = index;
            } else {
                error(tr("Internal error: Unable to find package for %1 of %2.%3")
                          .arg(update ? QStringLiteral("update") : QStringLiteral("install"), name, arch));
            }
        }
        if (progress_)
            progress_->setItemValue(value);
        break;
    }
    case TsErase:
    case TsObsoleted:
    case TsUpdated: {
        if (index != lastTsIndex_) {
            const QString name = pyString(package);
            bool completing = action != TsErase;
            if (Package::Entry* entry = removalEntry(
                    name, completing, QT_TR_NOOP("Internal error: YumIO::tsCallback REMOVE/COMPLETE of %1 not expected")))
                startRemoval(entry, completing, name, bytes);
            lastTsIndex_ = index;
        }
        if (progress_)
            progress_->setItemValue(value);
        break;
    }
    case TsAvailable:
        break;
    default:
        warning(tr("Internal error: YumIO::tsEvent action=%1 not understood; ignoring").arg(action));
        break;
    }
    return noneResult();
}
