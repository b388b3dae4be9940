// Collecting the catalogue from yum, and emptying it again.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "progress/ProgressObject.h"
#include "yumio/AdvisoryStore.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIOCapturersUser.h"

bool YumIO::collectReal(const QHash<QString, bool>& requests)
{
    fileListsLoaded_ = false;
    otherDataLoaded_ = false;
    clearCollectCaches();
    const bool collected = collectSteps(requests);
    clearCollectCaches();
    if (!collected) {
        progress_->reset();
        return false;
    }
    return true;
}

bool YumIO::collectSteps(const QHash<QString, bool>& requests)
{
    log(Log::Heading, 0, tr("Initialization"));
    // The units add up: 100 + 900 + 14000 + 4000 + 4000 + 1000 = 24000.
    progress_->startTotal(tr("Initializing: Total Progress"), 24000);
    progress_->startItem(tr("Preparing"), 100, 0);

    if (!takeYumLock())
        return false;

    if (!readRepos())
        return false;
    useRepos(requests);
    collectRepos();

    // Without repositories the installed packages are still worth listing: they can be
    // removed offline.
    if (PyDict_Size(reposDict_.get()) == 0) {
        warning(tr("No repositories are configured.\n"
                   "Under the Repositories menu, Edit Configuration can be used to configure repositories."));
    } else if (enabledRepos_.isEmpty()) {
        warning(tr("No repositories are enabled.\n"
                   "Under the Repositories menu, Edit Configuration can be used to configure repositories."));
    }

    progress_->startItem(tr("Reading repositories"), 900, 0);
    progress_->setupItemActs(14000, 6 * Steps(enabledRepos_.size()));
    {
        pyExceptStart();
        pyExceptExpect(repoError_.get());
        pyExceptExpect(bdbQuit_.get()); // the user cancelled
        PyRef result = pyMethodCall(yumIO_.get(), "setupRepos", "()");
        if (pyExceptMatches(result.get(), repoError_.get()) || pyExceptMatches(result.get(), bdbQuit_.get())) {
            const bool cancelled = pyExceptMatches(result.get(), bdbQuit_.get());
            pythonExceptionV(tr("Unable to initialize"));
            pyExceptClear();
            // The script went on without the repositories it names; the rest is read.
            if (cancelled || !reposSkipped())
                return false;
            collectRepos();
        } else {
            pyExceptClear();
            if (!result)
                return false;
        }
    }
    progress_->endItemActs();

    baseArch_ = getYumVar(QStringLiteral("basearch"));

    progress_->startItem(tr("Collecting updatable packages"), 4000, 0);
    {
        PyRef result;
        if (!callCollector("setupTs", tr("setup transaction"), result, false))
            return false;
    }
    {
        PyRef result;
        if (!callCollector("collectUpdates", tr("collect updatable packages"), result, true))
            return false;
        if (!collectSet(result.get(), Package::AvailableForUpdate))
            return false;
    }

    progress_->startItem(tr("Collecting installed and available packages"), 4000, 0);
    {
        PyRef result;
        if (!callCollector("collectAll", tr("collect installed and available packages"), result, true))
            return false;
        if (!collectField(result.get(), "installed", Package::Installed)
            || !collectField(result.get(), "available", Package::AvailableForInstallation))
            return false;
    }

    progress_->startItem(tr("Collecting groups"), 1000, 0);
    {
        pyExceptStart();
        commExceptSetup();
        pyExceptExpect(groupsError_.get());
        PyRef result = pyMethodCall(yumIO_.get(), "setupTsGroup", "()");
        if (pyExceptMatches(result.get(), groupsError_.get())) {
            // A system without any group is no failure.
            const bool none = printableExceptionValue().contains(QLatin1String("No Groups Available"));
            pyExceptClear();
            if (!none) {
                error(tr("Internal error: execution of yumIO.setupTsGroup failed"));
                return false;
            }
        } else {
            if (commExceptRaised(result.get(), tr("collect groups"))) {
                pyExceptClear();
                return false;
            }
            pyExceptClear();
            if (!result)
                return false;
        }
    }
    {
        PyRef info = pyMethodCall(yumIO_.get(), "collectGroupInfo", "()");
        if (!info) {
            error(tr("Internal error: execution of yumIO.collectGroupInfo failed"));
            return false;
        }
        groupInfo_ = std::move(info);
        if (!collectGroups(groupInfo_.get()))
            return false;
        PyRef done = pyMethodCall(yumIO_.get(), "collectDone", "()");
        if (!done)
            return false;
    }

    for (auto it = keyHash_.cbegin(); it != keyHash_.cend(); ++it)
        entries_.append(it.value());
    // Update information that cannot be read leaves the catalogue without advisories.
    collectAdvisories();
    progress_->setTotalValue(24000);
    return true;
}

bool YumIO::callCollector(const char* method, const QString& action, PyRef& result, bool capture)
{
    pyExceptStart();
    commExceptSetup();
    {
        // rpm may write to the process's own streams while the database is read.
        std::unique_ptr<YumIOCapturersUser> capturer;
        if (capture)
            capturer = std::make_unique<YumIOCapturersUser>(capturers_, this);
        result = pyMethodCall(yumIO_.get(), method, "()");
    }
    if (commExceptRaised(result.get(), action)) {
        pyExceptClear();
        return false;
    }
    pyExceptClear();
    if (!result) {
        if (std::strcmp(method, "setupTs") != 0)
            error(tr("Internal error: execution of yumIO.%1 failed").arg(QString::fromLatin1(method)));
        return false;
    }
    return true;
}

bool YumIO::readRepos()
{
    PyRef repos = PyRef::steal(PyObject_GetAttrString(yumIO_.get(), "repos"));
    PyRef dict;
    if (repos)
        dict = PyRef::steal(PyObject_GetAttrString(repos.get(), "repos"));
    if (!dict) {
        PyErr_Clear();
        error(tr("Internal error: yumIO.repos.repos not evaluable"));
        return false;
    }
    if (!PyDict_Check(dict.get())) {
        error(tr("Internal error: yumIO.repos.repos not a dictionary"));
        return false;
    }
    reposDict_ = std::move(dict);
    return true;
}

void YumIO::useRepos(const QHash<QString, bool>& requests)
{
    for (auto it = requests.cbegin(); it != requests.cend(); ++it) {
        const QByteArray id = it.key().toUtf8();
        if (!PyDict_GetItemString(reposDict_.get(), id.constData()))
            continue; // not a repository of this system
        pyExceptStart();
        pyExceptExpect(repoError_.get());
        PyRef result = pyMethodCall(yumIO_.get(), it.value() ? "enableRepo" : "disableRepo", "(s)",
                                    id.constData());
        if (pyExceptMatches(result.get(), repoError_.get()))
            warning(tr("unable to setup repository %1:\n%2").arg(it.key(), printableExceptionValue()));
        pyExceptClear();
    }
}

bool YumIO::reposSkipped()
{
    PyRef skipped = PyRef::steal(PyObject_GetAttrString(yumIO_.get(), "skippedRepos"));
    const bool any = skipped && PySequence_Check(skipped.get()) && PySequence_Size(skipped.get()) > 0;
    PyErr_Clear();
    return any;
}

void YumIO::collectRepos()
{
    enabledRepos_.clear();
    PyObject* key = nullptr;
    PyObject* repo = nullptr;
    Py_ssize_t position = 0;
    while (PyDict_Next(reposDict_.get(), &position, &key, &repo)) {
        PyRef enabled = PyRef::steal(PyObject_GetAttrString(repo, "enabled"));
        if (!enabled) {
            PyErr_Clear();
            continue;
        }
        const bool on = PyLong_Check(enabled.get()) && PyLong_AsLong(enabled.get()) != 0;
        if (PyErr_Occurred())
            PyErr_Clear();
        if (on)
            enabledRepos_.append(pyStringX(key));
    }
    resetRepoProgress(enabledRepos_, tr("contents"));
}

bool YumIO::collectField(PyObject* result, const char* name, Package::State state)
{
    PyRef field = PyRef::steal(PyObject_GetAttrString(result, name));
    if (!field) {
        PyErr_Clear();
        error(tr("Internal error: yumIO.collectAll.%1 not found").arg(QString::fromLatin1(name)));
        return false;
    }
    return collectSet(field.get(), state);
}

bool YumIO::collectGroups(PyObject* groupInfo)
{
    PyRef groups;
    const bool distrib = hasDistribGroups();
    if (distrib) {
        groups = PyRef::borrow(groupInfo);
    } else {
        groups = PyRef::steal(PyObject_GetAttrString(groupInfo, "visible_groups"));
        if (!groups) {
            PyErr_Clear();
            error(tr("Internal error: groupInfo.visible_groups not evaluable"));
            return false;
        }
    }
    PyRef iterator = PyRef::steal(PyObject_GetIter(groups.get()));
    if (!iterator) {
        if (PyErr_Occurred())
            handleException();
        return false;
    }
    while (PyRef group = PyRef::steal(PyIter_Next(iterator.get()))) {
        if (distrib) {
            PyRef visible = PyRef::steal(PyObject_GetAttrString(group.get(), "user_visible"));
            if (visible && !PyObject_IsTrue(visible.get()))
                continue;
            PyErr_Clear();
        }
        PyRef nameObject = PyRef::steal(PyObject_GetAttrString(group.get(), "name"));
        if (!nameObject) {
            PyErr_Clear();
            error(tr("Internal error: group without name"));
            return false;
        }
        const QString name = pyStringX(nameObject.get());
        Package::Entry*& slot = keyHash_[EntryKey(true, name, QString())];
        if (slot)
            continue;
        if (!collectGroup(slot, group.get(), groupInfo, name)) {
            keyHash_.remove(EntryKey(true, name, QString()));
            return false;
        }
    }
    if (PyErr_Occurred()) {
        handleException();
        return false;
    }
    return true;
}

bool YumIO::collectGroup(Package::Entry*& slot, PyObject* group, PyObject* groupInfo, const QString& name)
{
    bool installed = false;
    if (hasDistribGroups()) {
        PyRef flag = PyRef::steal(PyObject_GetAttrString(group, "installed"));
        if (!flag) {
            PyErr_Clear();
            error(tr("Internal error: cannot find group's installed flag"));
            return false;
        }
        installed = PyObject_IsTrue(flag.get()) == 1;
    } else {
        PyRef table = PyRef::steal(PyObject_GetAttrString(groupInfo, "group_installed"));
        PyObject* flag = table ? pyDictGetItem(table.get(), name) : nullptr;
        if (!flag) {
            PyErr_Clear();
            error(tr("Internal error: cannot find groupInfo.group_installed['%1']").arg(name));
            return false;
        }
        installed = PyObject_IsTrue(flag) == 1;
    }
    auto* entry = new Package::Entry;
    entry->action = Package::None;
    entry->kind = Package::Group;
    entry->state = installed ? Package::Installed : Package::AvailableForInstallation;
    entry->name = name;
    entry->summary = pyStringXDec(PyObject_GetAttrString(group, "description"));
    PyErr_Clear();
    entry->yumObject = PyRef::borrow(group);
    slot = entry;
    if (installed && upToDateGroup(*entry) < 1)
        entry->state = Package::AvailableForUpdate;
    return true;
}

void YumIO::deleteEntries(bool release)
{
    for (Package::Entry* entry : qAsConst(entries_)) {
        for (Package::Entry* e = entry; e; e = e->next) {
            if (release)
                e->yumObject.reset();
            else
                e->yumObject.release(); // the interpreter is about to end
        }
    }
    // Entries made by a collection that failed are in the key hash only.
    QSet<Package::Entry*> heads(entries_.cbegin(), entries_.cend());
    for (Package::Entry* entry : qAsConst(keyHash_)) {
        if (!entry || heads.contains(entry))
            continue;
        for (Package::Entry* e = entry; e; e = e->next) {
            if (release)
                e->yumObject.reset();
            else
                e->yumObject.release();
        }
        heads.insert(entry);
    }
    if (advisories_)
        advisories_->clear();
    qDeleteAll(heads);
    entries_.clear();
    keyHash_.clear();
    nameHash_.clear();
    biArchs_.clear();
}

void YumIO::clearEntriesReal()
{
    deleteEntries(true);
    groupInfo_.reset();
}

void YumIO::clearEntriesBeforeQuit()
{
    clearing_ = true;
    searchIndex_.reset();
    deleteEntries(false);
    groupInfo_.release();
    reposDict_.release();
}

bool YumIO::clear()
{
    {
        PyGILStateWrapper lock(true);
        PyRef flushed = pyMethodCall(yumIO_.get(), "flush", "()");
    }
    clearEntries();
    PyGILStateWrapper lock(true);
    reposDict_.reset();
    PyRef object = pyCall("YumIO", "()");
    if (!object) {
        error(tr("Internal error: cannot create python yumIO"));
        return false;
    }
    yumIO_ = std::move(object);
    return true;
}

void YumIO::expireMetadata()
{
    PyGILStateWrapper lock(true);
    // A script without the function keeps its caches as they are.
    if (!main_dict || !PyDict_GetItemString(main_dict, "expireMetadata"))
        return;
    PyRef done = pyCall("expireMetadata", "()");
}
