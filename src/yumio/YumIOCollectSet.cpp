// Turning yum's package lists into catalogue entries: in bulk, one row of fields per
// package read by the script, or one attribute at a time where the script offers no rows.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "yumio/PackageEntry.h"

namespace {

// The fields of a row, in the order the script's collectRows gives them.
enum RowField { RowPackage, RowName, RowArch, RowVerRel, RowRepo, RowGroup, RowSize, RowSummary, RowBuildTime,
                RowFields };

} // namespace

bool YumIO::collectSet(PyObject* packages, Package::State state)
{
    if (!PyObject_HasAttrString(yumIO_.get(), "collectRows"))
        return collectEach(packages, state);
    // One call reads every package: the per-attribute calls would cost more than yum's
    // own work on a large system.
    PyRef rows = pyMethodCall(yumIO_.get(), "collectRows", "(O)", packages);
    if (!rows)
        return false; // reported by the call
    const Py_ssize_t count = PyList_Check(rows.get()) ? PyList_GET_SIZE(rows.get()) : 0;
    keyHash_.reserve(keyHash_.size() + count);
    nameHash_.reserve(nameHash_.size() + count);
    return collectEach(rows.get(), state);
}

bool YumIO::collectEach(PyObject* items, Package::State state)
{
    PyRef iterator = PyRef::steal(PyObject_GetIter(items));
    if (!iterator) {
        if (PyErr_Occurred())
            handleException();
        return false;
    }
    while (PyRef item = PyRef::steal(PyIter_Next(iterator.get()))) {
        if (PyTuple_CheckExact(item.get()) && PyTuple_GET_SIZE(item.get()) == RowFields)
            collectRow(item.get(), state);
        else
            collectOne(item.get(), state);
    }
    if (PyErr_Occurred()) {
        handleException();
        return false;
    }
    return true;
}

void YumIO::collectOne(PyObject* package, Package::State state)
{
    PyRef nameObject = PyRef::steal(PyObject_GetAttrString(package, "name"));
    PyRef archObject = nameObject ? PyRef::steal(PyObject_GetAttrString(package, "arch")) : PyRef();
    if (!archObject) {
        // A package without a name or architecture cannot be told apart: report, skip.
        handleException();
        return;
    }
    const QString name = pyStringX(nameObject.get());
    const QString arch = pyStringX(archObject.get());
    const QString biArch = biArchOf(arch);
    bool head = false;
    Package::Entry** place = placeFor(name, arch, biArch, state, head);
    if (!place)
        return;
    *place = collectPkg(state, package);
    if (head)
        prefer(name, *place);
}

void YumIO::collectRow(PyObject* row, Package::State state)
{
    const QString name = pyStringX(PyTuple_GET_ITEM(row, RowName));
    const QString arch = collectText(pyStringX(PyTuple_GET_ITEM(row, RowArch)));
    const QString biArch = biArchOf(arch);
    bool head = false;
    Package::Entry** place = placeFor(name, arch, biArch, state, head);
    if (!place)
        return;
    PyObject* package = PyTuple_GET_ITEM(row, RowPackage);
    auto* entry = new Package::Entry;
    entry->action = Package::None;
    entry->state = state;
    entry->kind = simpleText(PyTuple_GET_ITEM(row, RowGroup)) == QLatin1String("Suite") ? Package::Suite
                                                                                        : Package::Ordinary;
    entry->name = name;
    entry->verRel = pyStringX(PyTuple_GET_ITEM(row, RowVerRel));
    entry->repo = collectText(simpleText(PyTuple_GET_ITEM(row, RowRepo)));
    entry->arch = arch;
    entry->biArch = biArch;
    // A plain number is the common case; anything else is read (and reported) as a
    // single package's size is.
    PyObject* size = PyTuple_GET_ITEM(row, RowSize);
    entry->size = PyLong_CheckExact(size) ? PyLong_AsLongLong(size) : 0;
    if (!PyLong_CheckExact(size) || PyErr_Occurred()) {
        PyErr_Clear();
        entry->size = sizeOf(package);
    }
    entry->sizeText = collectText(bytesFormat((unsigned long long)entry->size));
    entry->summary = simpleText(PyTuple_GET_ITEM(row, RowSummary));
    entry->buildTime = pyTime(PyTuple_GET_ITEM(row, RowBuildTime));
    entry->buildTimeText = collectTimeText(entry->buildTime);
    entry->yumObject = PyRef::borrow(package);
    *place = entry;
    if (head)
        prefer(name, entry);
}

Package::Entry** YumIO::placeFor(const QString& name, const QString& arch, const QString& biArch,
                                 Package::State state, bool& head)
{
    biArchs_.insert(biArch);
    Package::Entry*& slot = findUpdateablePackage(name, arch, biArch);
    if (!slot) {
        head = true;
        return &slot;
    }
    if (state != Package::Installed)
        return nullptr; // an update or an installed version already holds the slot
    // Every installed version is kept, at the end of the slot's chain.
    Package::Entry* last = slot;
    while (last->next)
        last = last->next;
    head = false;
    return &last->next;
}

void YumIO::prefer(const QString& name, Package::Entry* entry)
{
    Package::Entry*& preferred = nameHash_[name];
    if (!preferred) {
        preferred = entry;
        return;
    }
    PyRef better = pyMethodCall(yumIO_.get(), "isBetterThan", "(O,O)", preferred->yumObject.get(),
                                entry->yumObject.get());
    if (better.get() == Py_True) {
        entry->duplicate = true;
    } else {
        preferred->duplicate = true;
        preferred = entry;
    }
}

Package::Entry*& YumIO::findUpdateablePackage(const QString& name, const QString& arch, const QString& biArch)
{
    const EntryKey key(false, name, biArch);
    auto it = keyHash_.find(key);
    if (it != keyHash_.end())
        return it.value();
    if (arch != QLatin1String("noarch")) {
        // An update may change a package to noarch, or back.
        auto noarch = keyHash_.find(EntryKey(false, name, biArchOf(QStringLiteral("noarch"))));
        if (noarch != keyHash_.end())
            return noarch.value();
    }
    return keyHash_[key];
}

Package::Entry* YumIO::collectPkg(Package::State state, PyObject* package)
{
    auto* entry = new Package::Entry;
    entry->action = Package::None;
    entry->state = state;
    entry->kind = getPkgKind(package);
    entry->name = pyStringXDec(PyObject_GetAttrString(package, "name"));
    entry->verRel = pyStringX(pyMethodCall(package, "printVer", "()").get());
    entry->repo = collectText(simpleString(package, "repoid"));
    entry->arch = collectText(pyStringXDec(PyObject_GetAttrString(package, "arch")));
    PyErr_Clear();
    entry->biArch = biArchOf(entry->arch);
    entry->size = sizeOf(package);
    entry->sizeText = collectText(bytesFormat((unsigned long long)entry->size));
    entry->summary = simpleString(package, "summary");
    entry->buildTime = buildTimeOf(package);
    entry->buildTimeText = collectTimeText(entry->buildTime);
    entry->yumObject = PyRef::borrow(package);
    return entry;
}

Package::Kind YumIO::getPkgKind(PyObject* package)
{
    return simpleString(package, "group") == QLatin1String("Suite") ? Package::Suite : Package::Ordinary;
}

QString YumIO::simpleText(PyObject* value)
{
    if (!value || value == Py_None)
        return QString();
    QString text = pyStringX(value);
    while (text.endsWith(QLatin1Char('\n')))
        text.chop(1);
    return text;
}

QString YumIO::biArchOf(const QString& arch)
{
    // A handful of architectures among tens of thousands of packages.
    auto it = biArchCache_.constFind(arch);
    if (it == biArchCache_.cend())
        it = biArchCache_.insert(arch, collectText(getBiArch(arch)));
    return it.value();
}

QString YumIO::collectText(const QString& text)
{
    // Repeated texts (repositories, architectures, sizes) share one copy.
    return *collectTexts_.insert(text);
}

QString YumIO::collectTimeText(qint64 time)
{
    auto it = timeTexts_.constFind(time);
    if (it == timeTexts_.cend())
        it = timeTexts_.insert(time, QString::fromLocal8Bit(timeFormat(long(time))));
    return it.value();
}

void YumIO::clearCollectCaches()
{
    biArchCache_.clear();
    collectTexts_.clear();
    timeTexts_.clear();
}
