// Details of an entry, read on demand from its yum object, and the extra data that is
// loaded only when asked for.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "progress/ProgressObject.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIOFileLists.h"
#include "yumio/YumIOSearchIndex.h"

#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <algorithm>
#include <limits>
#include <map>

namespace {

bool hasAttribute(PyObject* object, const char* name)
{
    const int has = PyObject_HasAttrString(object, name);
    PyErr_Clear();
    return has == 1;
}

} // namespace

QString YumIO::getDescription(const Package::Entry& entry)
{
    return simpleString(entry.yumObject.get(), "description");
}

QString YumIO::getGroup(const Package::Entry& entry)
{
    return simpleString(entry.yumObject.get(), "group");
}

QString YumIO::getVendor(const Package::Entry& entry)
{
    return simpleString(entry.yumObject.get(), "vendor");
}

QString YumIO::getBuildHost(const Package::Entry& entry)
{
    return simpleString(entry.yumObject.get(), "buildhost");
}

QString YumIO::getSourceRpm(const Package::Entry& entry)
{
    return simpleString(entry.yumObject.get(), "sourcerpm");
}

QString YumIO::getLicense(const Package::Entry& entry)
{
    return simpleString(entry.yumObject.get(), "license");
}

QString YumIO::getPackager(const Package::Entry& entry)
{
    return simpleString(entry.yumObject.get(), "packager");
}

QString YumIO::getUrl(const Package::Entry& entry)
{
    return simpleString(entry.yumObject.get(), "url");
}

QString YumIO::getBinaryRpm(const Package::Entry& entry)
{
    PyGILStateWrapper lock(true);
    if (!entry.yumObject || !hasAttribute(entry.yumObject.get(), "relativepath"))
        return QString();
    return simpleString(entry.yumObject.get(), "relativepath");
}

QString YumIO::getInstallTime(const Package::Entry& entry)
{
    return getRpmTime(entry.yumObject.get(), "INSTALLTIME");
}

QStringList YumIO::getRelocations(const Package::Entry& entry)
{
    return getRpmList(entry.yumObject.get(), "PREFIXES");
}

QStringList YumIO::getProvides(const Package::Entry& entry)
{
    return getPrco(entry.yumObject.get(), "PROVIDE", "provides");
}

QStringList YumIO::getRequires(const Package::Entry& entry)
{
    return getPrco(entry.yumObject.get(), "REQUIRE", "requires");
}

QStringList YumIO::getConflicts(const Package::Entry& entry)
{
    return getPrco(entry.yumObject.get(), "CONFLICT", "conflicts");
}

QStringList YumIO::getObsoletes(const Package::Entry& entry)
{
    return getPrco(entry.yumObject.get(), "OBSOLETE", "obsoletes");
}

PyObject* YumIO::getRpmHdrValue(PyObject* package, const char* tag)
{
    PyGILStateWrapper lock(true);
    PyRef header;
    if (package && hasAttribute(package, "hdr"))
        header = PyRef::steal(PyObject_GetAttrString(package, "hdr"));
    if (!header || header.get() == Py_None) {
        PyErr_Clear();
        error(tr("getRpmHdrValue called for package with no hdr (i.e. not installed)"));
        return nullptr;
    }
    const QByteArray name = QByteArray("RPMTAG_") + tag;
    PyObject* value = rpmDict_ ? PyDict_GetItemString(rpmDict_.get(), name.constData()) : nullptr; // borrowed
    if (!value) {
        error(tr("Internal error: cannot find rpm.%1").arg(QString::fromLatin1(name)));
        return nullptr;
    }
    PyObject* result = PyObject_GetItem(header.get(), value);
    if (!result && PyErr_Occurred())
        handleException();
    return result;
}

QString YumIO::getRpmTime(PyObject* package, const char* tag)
{
    PyGILStateWrapper lock(true);
    if (!package || !hasAttribute(package, "hdr"))
        return QString();
    PyObject* value = getRpmHdrValue(package, tag);
    if (!value)
        return QString();
    return QString::fromLocal8Bit(timeFormat(long(pyTimeDec(value))));
}

QStringList YumIO::getRpmList(PyObject* package, const char* tag)
{
    PyGILStateWrapper lock(true);
    QStringList list;
    if (!package || !hasAttribute(package, "hdr"))
        return list;
    PyRef value = PyRef::steal(getRpmHdrValue(package, tag));
    if (!value || value.get() == Py_None)
        return list;
    PyRef iterator = PyRef::steal(PyObject_GetIter(value.get()));
    if (!iterator) {
        PyErr_Clear();
        list.append(pyStringX(value.get()));
        return list;
    }
    while (PyRef item = PyRef::steal(PyIter_Next(iterator.get())))
        list.append(pyStringX(item.get()));
    PyErr_Clear();
    return list;
}

namespace {

QString flagText(const QString& flag)
{
    if (flag == QLatin1String("GT"))
        return QStringLiteral(">");
    if (flag == QLatin1String("GE"))
        return QStringLiteral(">=");
    if (flag == QLatin1String("LT"))
        return QStringLiteral("<");
    if (flag == QLatin1String("LE"))
        return QStringLiteral("<=");
    if (flag == QLatin1String("EQ"))
        return QStringLiteral("=");
    return flag;
}

} // namespace

QStringList YumIO::getPrco(PyObject* package, const char* headerPrefix, const char* yumName)
{
    PyGILStateWrapper lock(true);
    QStringList lines;
    if (!package)
        return lines;
    if (hasAttribute(package, "hdr")) {
        const QByteArray prefix(headerPrefix);
        PyRef names = PyRef::steal(getRpmHdrValue(package, QByteArray(prefix + "NAME").constData()));
        PyRef flags = PyRef::steal(getRpmHdrValue(package, QByteArray(prefix + "FLAGS").constData()));
        PyRef versions = PyRef::steal(getRpmHdrValue(package, QByteArray(prefix + "VERSION").constData()));
        if (!names || !PySequence_Check(names.get())) {
            PyErr_Clear();
            return lines;
        }
        const Py_ssize_t count = PySequence_Size(names.get());
        const Py_ssize_t flagCount = flags && PySequence_Check(flags.get()) ? PySequence_Size(flags.get()) : 0;
        const Py_ssize_t versionCount = versions && PySequence_Check(versions.get()) ? PySequence_Size(versions.get()) : 0;
        for (Py_ssize_t i = 0; i < count; ++i) {
            QString line = pyStringXDec(PySequence_GetItem(names.get(), i));
            if (i < flagCount && i < versionCount) {
                PyRef flagObject = PyRef::steal(PySequence_GetItem(flags.get(), i));
                const long bits = flagObject ? PyLong_AsLong(flagObject.get()) : 0;
                PyErr_Clear();
                QString comparison;
                if (bits & 2)
                    comparison += QLatin1Char('<');
                if (bits & 4)
                    comparison += QLatin1Char('>');
                if (bits & 8)
                    comparison += QLatin1Char('=');
                const QString version = pyStringXDec(PySequence_GetItem(versions.get(), i));
                // The blank comes with the comparison even when that is empty.
                line += QLatin1Char(' ') + comparison;
                if (!version.isEmpty())
                    line += QLatin1Char(' ') + version;
            }
            lines.append(line);
        }
        PyErr_Clear();
        return lines;
    }

    PyRef tuples;
    if (hasAttribute(package, "returnPrco")) {
        tuples = pyMethodCall(package, "returnPrco", "(s)", yumName);
    } else {
        PyRef prco = PyRef::steal(PyObject_GetAttrString(package, "prco"));
        PyObject* entry = prco ? pyDictGetItem(prco.get(), QString::fromLatin1(yumName)) : nullptr;
        if (!entry) {
            PyErr_Clear();
            error(tr("Internal error: cannot find package's prco.%1").arg(QString::fromLatin1(yumName)));
            return lines;
        }
        tuples = PyRef::borrow(entry);
    }
    if (!tuples)
        return lines;
    PyRef iterator = PyRef::steal(PyObject_GetIter(tuples.get()));
    if (!iterator) {
        PyErr_Clear();
        return lines;
    }
    while (PyRef item = PyRef::steal(PyIter_Next(iterator.get()))) {
        if (!PyTuple_Check(item.get()) || PyTuple_Size(item.get()) < 1)
            continue;
        QString line = pyStringX(PyTuple_GetItem(item.get(), 0));
        PyObject* flag = PyTuple_Size(item.get()) > 1 ? PyTuple_GetItem(item.get(), 1) : nullptr;
        PyObject* evr = PyTuple_Size(item.get()) > 2 ? PyTuple_GetItem(item.get(), 2) : nullptr;
        if (flag && flag != Py_None && evr && PyTuple_Check(evr) && PyTuple_Size(evr) >= 2) {
            const QString epoch = pyStringX(PyTuple_GetItem(evr, 0));
            const QString version = pyStringX(PyTuple_GetItem(evr, 1));
            const QString release = PyTuple_Size(evr) > 2 ? pyStringX(PyTuple_GetItem(evr, 2)) : QString();
            line += QLatin1Char(' ') + flagText(pyStringX(flag)) + QLatin1Char(' ');
            if (!epoch.isEmpty() && epoch != QLatin1String("0"))
                line += epoch + QLatin1Char(':');
            line += version;
            if (!release.isEmpty())
                line += QLatin1Char('-') + release;
        }
        lines.append(line);
    }
    PyErr_Clear();
    return lines;
}

QStringList YumIO::getFiles(const Package::Entry& entry)
{
    PyGILStateWrapper lock(true);
    QStringList files;
    PyObject* package = entry.yumObject.get();
    if (!package)
        return files;
    if (hasAttribute(package, "hdr")) {
        PyRef bases = PyRef::steal(getRpmHdrValue(package, "BASENAMES"));
        PyRef dirs = PyRef::steal(getRpmHdrValue(package, "DIRNAMES"));
        PyRef indexes = PyRef::steal(getRpmHdrValue(package, "DIRINDEXES"));
        if (!bases || !dirs || !indexes || !PySequence_Check(bases.get()) || !PySequence_Check(dirs.get())
            || !PySequence_Check(indexes.get())) {
            PyErr_Clear();
            return files;
        }
        QStringList dirNames;
        const Py_ssize_t dirCount = PySequence_Size(dirs.get());
        for (Py_ssize_t i = 0; i < dirCount; ++i)
            dirNames.append(pyStringXDec(PySequence_GetItem(dirs.get(), i)));
        const Py_ssize_t count = qMin(PySequence_Size(bases.get()), PySequence_Size(indexes.get()));
        for (Py_ssize_t i = 0; i < count; ++i) {
            PyRef index = PyRef::steal(PySequence_GetItem(indexes.get(), i));
            const long d = index ? PyLong_AsLong(index.get()) : -1;
            PyErr_Clear();
            files.append((d >= 0 && d < dirNames.size() ? dirNames.at(int(d)) : QString())
                         + pyStringXDec(PySequence_GetItem(bases.get(), i)));
        }
        PyErr_Clear();
        return files;
    }
    if (hasAttribute(package, "_loadFiles"))
        PyRef loaded = pyMethodCall(package, "_loadFiles", "()");
    PyRef list;
    if (hasAttribute(package, "returnFileEntries")) {
        list = pyMethodCall(package, "returnFileEntries", "(s)", "file");
    } else {
        PyRef table = PyRef::steal(PyObject_GetAttrString(package, "files"));
        PyObject* item = table ? pyDictGetItem(table.get(), QStringLiteral("file")) : nullptr;
        if (item)
            list = PyRef::borrow(item);
    }
    if (!list) {
        PyErr_Clear();
        error(tr("Internal error: cannot find package's files"));
        return files;
    }
    PyRef iterator = PyRef::steal(PyObject_GetIter(list.get()));
    while (iterator) {
        PyRef item = PyRef::steal(PyIter_Next(iterator.get()));
        if (!item)
            break;
        files.append(pyStringX(item.get()));
    }
    PyErr_Clear();
    return files;
}

QString YumIO::getChangeLog(const Package::Entry& entry)
{
    PyGILStateWrapper lock(true);
    PyObject* package = entry.yumObject.get();
    if (!package)
        return QString();
    struct Record {
        qint64 time;
        QString name;
        QString text;
    };
    QList<Record> records;
    if (hasAttribute(package, "hdr")) {
        PyRef times = PyRef::steal(getRpmHdrValue(package, "CHANGELOGTIME"));
        PyRef names = PyRef::steal(getRpmHdrValue(package, "CHANGELOGNAME"));
        PyRef texts = PyRef::steal(getRpmHdrValue(package, "CHANGELOGTEXT"));
        if (times && names && texts && PySequence_Check(times.get()) && PySequence_Check(names.get())
            && PySequence_Check(texts.get())) {
            const Py_ssize_t count = qMin(qMin(PySequence_Size(times.get()), PySequence_Size(names.get())),
                                          PySequence_Size(texts.get()));
            for (Py_ssize_t i = 0; i < count; ++i)
                records.append({ pyTimeDec(PySequence_GetItem(times.get(), i)),
                                 pyStringXDec(PySequence_GetItem(names.get(), i)),
                                 pyStringXDec(PySequence_GetItem(texts.get(), i)) });
        }
        PyErr_Clear();
    } else {
        PyRef log;
        if (hasAttribute(package, "returnChangelog"))
            log = pyMethodCall(package, "returnChangelog", "()");
        if (!log) {
            PyErr_Clear();
            error(tr("Internal error: cannot find package's changelog"));
            return QString();
        }
        PyRef iterator = PyRef::steal(PyObject_GetIter(log.get()));
        while (iterator) {
            PyRef item = PyRef::steal(PyIter_Next(iterator.get()));
            if (!item)
                break;
            if (!PySequence_Check(item.get()) || PySequence_Size(item.get()) < 3)
                continue;
            records.append({ pyTimeDec(PySequence_GetItem(item.get(), 0)),
                             pyStringXDec(PySequence_GetItem(item.get(), 1)),
                             pyStringXDec(PySequence_GetItem(item.get(), 2)) });
        }
        PyErr_Clear();
    }
    QStringList parts;
    for (const Record& record : qAsConst(records))
        parts.append(QStringLiteral("* %1 %2\n%3")
                         .arg(QString::fromLocal8Bit(dateFormat(long(record.time))), record.name, record.text));
    return parts.join(QStringLiteral("\n\n"));
}

PyRef YumIO::getGroupItem_25(const Package::Entry& entry, const char* listName)
{
    if (!hasDistribGroups()) {
        error(tr("getGroupItem_25 called for incorrect version of yum"));
        return PyRef();
    }
    PyRef item = PyRef::steal(PyObject_GetAttrString(entry.yumObject.get(), listName));
    if (!item) {
        PyErr_Clear();
        error(tr("Internal error: group %1.%2 not evaluable").arg(entry.name, QString::fromLatin1(listName)));
    }
    return item;
}

PyRef YumIO::getGroupItem_22(const Package::Entry& entry, const char* listName)
{
    if (hasDistribGroups()) {
        error(tr("getGroupItem_22 called for incorrect version of yum"));
        return PyRef();
    }
    PyRef table = groupInfo_ ? PyRef::steal(PyObject_GetAttrString(groupInfo_.get(), listName)) : PyRef();
    if (!table) {
        PyErr_Clear();
        error(tr("Internal error: groupInfo.%1 not evaluable").arg(QString::fromLatin1(listName)));
        return PyRef();
    }
    PyObject* item = pyDictGetItem(table.get(), entry.name);
    if (!item) {
        error(tr("Internal error: groupInfo.%1[%2] not evaluable").arg(QString::fromLatin1(listName), entry.name));
        return PyRef();
    }
    return PyRef::borrow(item);
}

namespace {

QStringList texts(YumIO& engine, PyObject* list)
{
    QStringList result;
    if (!list)
        return result;
    PyRef iterator = PyRef::steal(PyObject_GetIter(list)); // a dict gives its keys
    while (iterator) {
        PyRef item = PyRef::steal(PyIter_Next(iterator.get()));
        if (!item)
            break;
        result.append(engine.pyStringX(item.get()));
    }
    PyErr_Clear();
    return result;
}

} // namespace

QStringList YumIO::getGroupGrps(const Package::Entry& entry, const char* name)
{
    PyGILStateWrapper lock(true);
    PyRef list = hasDistribGroups() ? getGroupItem_25(entry, name) : getGroupItem_22(entry, name);
    QStringList result = texts(*this, list.get());
    makeSortedUniq(result);
    return result;
}

QStringList YumIO::getGroupPkgs(const Package::Entry& entry, const char* oldName, const char* newName)
{
    PyGILStateWrapper lock(true);
    PyRef list = hasDistribGroups() ? getGroupItem_25(entry, newName) : getGroupItem_22(entry, oldName);
    QStringList result = texts(*this, list.get());
    makeSorted(result);
    return result;
}

QStringList YumIO::getRequiredGroups(const Package::Entry& entry)
{
    return getGroupGrps(entry, "sub_groups");
}

QStringList YumIO::getDefaultMetaPkgs(const Package::Entry& entry)
{
    return getGroupGrps(entry, "default_metapkgs");
}

QStringList YumIO::getOptionalMetaPkgs(const Package::Entry& entry)
{
    return getGroupGrps(entry, "optional_metapkgs");
}

QStringList YumIO::getMandatoryPkgs(const Package::Entry& entry)
{
    return getGroupPkgs(entry, "mandatory_pkgs", "mandatory_packages");
}

QStringList YumIO::getDefaultPkgs(const Package::Entry& entry)
{
    return getGroupPkgs(entry, "default_pkgs", "default_packages");
}

QStringList YumIO::getOptionalPkgs(const Package::Entry& entry)
{
    return getGroupPkgs(entry, "optional_pkgs", "optional_packages");
}

QStringList YumIO::getConditionalPkgs(const Package::Entry& entry)
{
    if (!hasDistribGroups())
        return QStringList();
    return getGroupPkgs(entry, "conditional_packages", "conditional_packages");
}

void YumIO::makeSorted(QStringList& list)
{
    std::sort(list.begin(), list.end());
}

void YumIO::makeSortedUniq(QStringList& list)
{
    makeSorted(list);
    list.erase(std::unique(list.begin(), list.end()), list.end());
}

int YumIO::upToDateGroup(const Package::Entry& entry)
{
    return upToDateGroupGrps(entry, "sub_groups") && upToDateGroupPkgs(entry, "mandatory_pkgs", "mandatory_packages")
        ? 1
        : 0;
}

int YumIO::upToDateGroupGrps(const Package::Entry& entry, const char* name)
{
    // Sub-groups count only with the older group model.
    if (hasDistribGroups())
        return 1;
    PyGILStateWrapper lock(true);
    PyRef list = getGroupItem_22(entry, name);
    for (const QString& group : texts(*this, list.get())) {
        const Package::Entry* sub = keyHash_.value(EntryKey(true, group, QString()), nullptr);
        if (sub && sub != &entry && upToDateGroup(*sub) < 1)
            return 0;
    }
    return 1;
}

int YumIO::upToDateGroupPkgs(const Package::Entry& entry, const char* oldName, const char* newName)
{
    PyGILStateWrapper lock(true);
    PyRef list = hasDistribGroups() ? getGroupItem_25(entry, newName) : getGroupItem_22(entry, oldName);
    for (const QString& name : texts(*this, list.get())) {
        // Every architecture class of the name: an update of a build that is not the
        // preferred entry (i686 beside an available x86_64) counts as well.
        for (const QString& biArch : qAsConst(biArchs_)) {
            const Package::Entry* member = keyHash_.value(EntryKey(false, name, biArch), nullptr);
            if (member && member->state == Package::AvailableForUpdate)
                return 0;
        }
    }
    return 1;
}

bool YumIO::collectFileListsReal()
{
    return collectExtra(true);
}

bool YumIO::collectOtherDataReal()
{
    return collectExtra(false);
}

bool YumIO::collectExtra(bool fileLists)
{
    log(Log::Heading, 0, fileLists ? tr("Collecting File Lists") : tr("Collecting Miscellaneous data"));
    resetRepoProgress(enabledRepos_, fileLists ? tr("file lists") : tr("miscellaneous data"));
    progress_->startTotal(fileLists ? tr("Loading file lists: Total Progress")
                                    : tr("Loading miscellaneous data: Total Progress"),
                          15000);
    progress_->startItem(tr("Reading repositories"), 1000, 0);
    progress_->setupItemActs(14000, 6 * Steps(enabledRepos_.size()));

    pyExceptStart();
    commExceptSetup();
    PyRef result = pyMethodCall(yumIO_.get(), fileLists ? "collectFileLists" : "collectOtherData", "()");
    if (commExceptRaised(result.get(), fileLists ? tr("collect filelists") : tr("collect miscellaneous data"))) {
        pyExceptClear();
        progress_->reset();
        return false;
    }
    pyExceptClear();
    if (!result) {
        error(fileLists ? tr("Internal error: execution of yumIO.collectFileLists failed")
                        : tr("Internal error: execution of yumIO.collectOtherData failed"));
        progress_->reset();
        return false;
    }
    progress_->endItemActs();
    (fileLists ? fileListsLoaded_ : otherDataLoaded_) = true;
    Q_EMIT collectedExtraData();
    return true;
}

namespace {

// The repository and checksum under which a repository's file lists name a package;
// empty for packages and groups that no file lists name.
struct FileListKey {
    QString repo;
    QByteArray checksum;
};

// The solver keeps long texts in pages of its cache file, in the order of its own
// numbering of the packages: read in that order, each page is loaded once, which makes
// reading descriptions and change logs many times faster.  Groups go last.  Interpreter
// lock held.
void readingOrder(const Package::EntryList& entries, std::vector<std::pair<qint64, int>>& order,
                  std::vector<FileListKey>& keys)
{
    const int rows = int(entries.size());
    order.assign(size_t(rows), {});
    keys.assign(size_t(rows), {});
    for (int row = 0; row < rows; ++row) {
        long long number = std::numeric_limits<long long>::max();
        const char* repo = nullptr;
        const char* checksum = nullptr;
        PyObject* object = entries.at(row)->yumObject.get();
        PyRef key = object && PyObject_HasAttrString(object, "searchKey")
            ? PyRef::steal(PyObject_CallMethod(object, "searchKey", nullptr))
            : PyRef();
        if (key && PyTuple_Check(key.get()) && PyArg_ParseTuple(key.get(), "Lss", &number, &repo, &checksum))
            keys[size_t(row)] = {QString::fromUtf8(repo), QByteArray(checksum)};
        PyErr_Clear();
        order[size_t(row)] = {qint64(number), row};
    }
    std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
}

// The file lists of the repositories, read whole for the packages they name.  A
// repository whose lists cannot be read is left out: its packages' files are then read
// one package at a time.  Interpreter lock held.
std::map<QString, YumIOFileLists> readFileLists(YumIO& engine, const std::vector<FileListKey>& keys)
{
    std::map<QString, YumIOFileLists> lists;
    std::map<QString, QSet<QByteArray>> wanted;
    for (const FileListKey& key : keys) {
        if (!key.repo.isEmpty())
            wanted[key.repo].insert(key.checksum);
    }
    PyRef sources = engine.scriptObject() && PyObject_HasAttrString(engine.scriptObject(), "fileListSources")
        ? engine.pyMethodCall(engine.scriptObject(), "fileListSources", "()")
        : PyRef();
    PyRef iterator = sources ? PyRef::steal(PyObject_GetIter(sources.get())) : PyRef();
    while (iterator) {
        PyRef source = PyRef::steal(PyIter_Next(iterator.get()));
        if (!source)
            break;
        const char* repo = nullptr;
        const char* path = nullptr;
        if (!PyTuple_Check(source.get()) || !PyArg_ParseTuple(source.get(), "ss", &repo, &path))
            continue;
        const QString id = QString::fromUtf8(repo);
        const auto named = wanted.find(id);
        YumIOFileLists read;
        if (named != wanted.end() && read.read(QString::fromUtf8(path), named->second))
            lists[id] = std::move(read);
    }
    PyErr_Clear();
    return lists;
}

QStringList splitItems(std::string_view items)
{
    QStringList texts;
    size_t begin = 0;
    while (begin < items.size()) {
        const size_t end = items.find('\0', begin);
        if (end == std::string_view::npos)
            break;
        texts.append(QString::fromUtf8(items.data() + begin, qsizetype(end - begin)));
        begin = end + 1;
    }
    return texts;
}

} // namespace

bool YumIO::buildSearchIndexReal()
{
    const int rows = int(entries_.size());
    progress_->startTotal(tr("Preparing search: Total Progress"), Steps(qMax(rows, 1)));
    progress_->startItem(tr("Reading package details"), Steps(qMax(rows, 1)), Steps(qMax(rows, 1)));
    auto index = std::make_shared<YumIOSearchIndex>();
    std::vector<std::pair<qint64, int>> order;
    std::vector<FileListKey> keys;
    std::map<QString, YumIOFileLists> fileLists;
    {
        PyGILStateWrapper lock(true);
        readingOrder(entries_, order, keys);
        fileLists = readFileLists(*this, keys);
    }
    std::vector<QStringList> fields;
    bool packed = true;
    for (int done = 0; done < rows; ++done) {
        const int row = order[size_t(done)].second;
        const Package::Entry& entry = *entries_.at(row);
        const int count = YumIOSearchIndex::fieldCount(entry);
        fields.assign(size_t(count), QStringList());
        const FileListKey& key = keys[size_t(row)];
        const auto lists = key.repo.isEmpty() ? fileLists.end() : fileLists.find(key.repo);
        std::string_view files;
        const bool listed = lists != fileLists.end() && lists->second.files(key.checksum, files);
        for (int field = 0; field < count; ++field) {
            fields[size_t(field)] = listed && field == YumIOSearchIndex::FilesField
                ? splitItems(files)
                : YumIOSearchIndex::fieldTexts(*this, entry, field);
        }
        packed = index->append(&entry, fields);
        if (!packed)
            break;
        if ((done & 0xff) == 0)
            progress_->setItemValue(Steps(done));
    }
    if (!packed || !index->finish()) {
        error(tr("Internal error: cannot compress the search index"));
        progress_->reset();
        return false;
    }
    builtIndex_ = std::move(index);
    fileLists.clear();
    std::vector<FileListKey>().swap(keys);
#ifdef __GLIBC__
    // Reading every detail through the interpreter left hundreds of megabytes of freed
    // small allocations behind: give back what the index does not use.
    malloc_trim(0);
#endif
    progress_->reset();
    return true;
}
