// Download and repository progress reported by the script: while repositories are read
// and while packages are downloaded.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "progress/ProgressObject.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

// yum versions above this one read each repository through all its steps before the next.
constexpr unsigned long serialRepoReadingVersion = 30106;
// Without parallel downloads a package's share of the total bar has this many steps at least.
constexpr qint64 minimumPackageActs = 10240;
constexpr qint64 headerActs = 10;
constexpr Steps deltaRebuildSpan = 2000;

// Credentials carried in a repository URL must never show in an activity.
const QRegularExpression& credentials()
{
    static const QRegularExpression expression(QStringLiteral("larder?.*=.*&.*=.*&path="));
    return expression;
}

// A parallel batch's file count as a number of connection rows: a count no real download
// reaches (or a negative one) gets no rows rather than an allocation that cannot succeed.
unsigned int connectionRows(qint64 files)
{
    constexpr qint64 maximumRows = 1 << 20;
    return files >= 0 && files <= maximumRows ? unsigned(files) : 0;
}

bool isString(PyObject* object)
{
    return PyUnicode_Check(object) || PyBytes_Check(object);
}

// Rounds c down to its group of k acts, the groups counted from base.
int groupStart(int c, int base, int k)
{
    c = std::max(c, base);
    return base + (c - base) / k * k;
}

} // namespace

YumIO::ThreadId::operator long() const
{
    return long(qHash(name) + size_t(act));
}

int YumIO::advanceCollectActs(int c, int act, int n, bool parallelOffered, unsigned long yumVersion)
{
    if (!parallelOffered && yumVersion > serialRepoReadingVersion)
        return c / 6 * 6 + act + 1;
    if (act == MirrorListAct || act == RepomdAct)
        return c / 2 * 2 + act + 1;
    if (parallelOffered) {
        // Mirror lists and repomds of all repositories, then groups and contents
        // downloaded together, then converting and reading.
        if (act == GroupsAct || act == ContentsAct)
            return groupStart(c, 2 * n, 2) + act - 1;
        if (act == ConvertingAct || act == ReadingAct)
            return groupStart(c, 4 * n, 2) + act - 3;
        return c;
    }
    if (act >= GroupsAct && act <= ReadingAct)
        return groupStart(c, 2 * n, 3) + act - 1;
    return c;
}

QString YumIO::repoActivity(RepoAct act, const QString& name)
{
    const bool named = !name.isEmpty();
    switch (act) {
    case MirrorListAct:
        return named ? tr("Downloading repository mirror list for %2").arg(name)
                     : tr("Downloading repository mirror list");
    case RepomdAct:
        return named ? tr("Downloading repository repomd for %2").arg(name) : tr("Downloading repository repomd");
    case GroupsAct:
        return named ? tr("Downloading repository groups for %2").arg(name) : tr("Downloading repository groups");
    case ContentsAct:
        return named ? tr("Downloading repository %1 for %2").arg(contentsWord, name)
                     : tr("Downloading repository %1").arg(contentsWord);
    case ConvertingAct:
        return named ? tr("Converting repository %2").arg(name) : tr("Converting repository");
    case ReadingAct:
        return named ? tr("Reading repository %1 for %2").arg(contentsWord, name)
                     : tr("Reading repository %1").arg(contentsWord);
    }
    error("Internal error: invalid collect act\n");
    return QString();
}

void YumIO::resetRepoProgress(const QStringList& enabledRepoIds, const QString& word)
{
    repoIds = enabledRepoIds;
    contentsWord = word;
    collectActs = 0;
    lastTotal = 0;
    lastName.clear();
    grabParallel = false;
    grabParallelSetUp = false;
    grabFiles = grabSize = 0;
    grabNextThread = 0;
    grabThreadOfMeter.clear();
    grabIds.clear();
    grabThreadOfId.clear();
}

void YumIO::resetApplyProgress()
{
    downloadingPackages = true;
    applyActs = 0;
    deltaRebuild = false;
    applyParallel = false;
    applyFiles = applySize = 0;
    applyNextThread = 0;
    applyThreadOfMeter.clear();
}

// ---- collecting: repository downloads and yum's reading of them

void YumIO::collectStart(void* meter, const QString& name, RepoAct act, long value, long total)
{
    const int n = int(repoIds.size());
    collectActs = advanceCollectActs(collectActs, act, n, hasMultiProgress(), yumVersion());
    lastTotal = total;
    lastName = name;
    const QString activity = repoActivity(act, name);
    Progress::Object* progress = progress_;

    if (!grabParallel) {
        if (progress) {
            progress->startItemAct(activity, Steps(total), Steps(collectActs));
            if (value)
                progress->setItemValue(Steps(value));
        }
        return;
    }

    if (!grabParallelSetUp) {
        QString batch = tr("Unknown");
        Steps first = 0, second = 1;
        if (hasMultiProgress() && (act == GroupsAct || act == ContentsAct)) {
            batch = tr("Downloading repository contents for %1 repositories").arg(grabFiles);
            first = Steps(grabSize ? 2 * n : 3 * n);
            second = Steps(grabSize ? 3 * n : 4 * n);
        } else if (hasMultiProgress()) {
            error(tr("Internal error: Unexpected parallel grab type:\n%1").arg(name));
        } else {
            error(tr("Internal error: Unexpected parallel grab with no parallel support:\n%1").arg(name));
        }
        if (progress)
            progress->setupItemActsThreads(batch, first, second, connectionRows(grabFiles), Steps(grabSize));
        grabParallelSetUp = true;
    }

    // A retried file keeps the row it had.
    const ThreadId id(name, act);
    unsigned int index = 0;
    const auto known = grabThreadOfId.constFind(id);
    if (known != grabThreadOfId.cend())
        index = known.value();
    else
        index = unsigned(grabNextThread++);
    if (qint64(index) > grabFiles) {
        error(tr("Internal error: Start: unexpected thread %1 > total files %2\n").arg(index).arg(grabFiles));
        return;
    }
    grabThreadOfMeter.insert(meter, index);
    if (index < unsigned(grabIds.size()))
        grabIds[index] = id;
    grabThreadOfId.insert(id, index);
    if (progress) {
        progress->startItemActThread(activity, index, Steps(total));
        if (value)
            progress->setItemActsThreadValue(index, Steps(value));
    }
}

bool YumIO::grabThread(void* meter, const char* complaint, unsigned int& index)
{
    index = grabThreadOfMeter.value(meter, 0);
    if (qint64(index) <= grabFiles)
        return true;
    error(tr(complaint).arg(index).arg(grabFiles));
    return false;
}

void YumIO::collectUpdate(void* meter, long value)
{
    if (!grabParallel) {
        if (progress_)
            progress_->setItemValue(Steps(value));
        return;
    }
    unsigned int index = 0;
    const char* complaint = QT_TR_NOOP("Internal error: Update: unexpected thread %1 > total files %2\n");
    if (grabThread(meter, complaint, index) && progress_)
        progress_->setItemActsThreadValue(index, Steps(value));
}

void YumIO::collectEnd(void* meter, long value)
{
    unsigned int index = 0;
    const char* complaint = QT_TR_NOOP("Internal error: End: unexpected thread %1 > total files %2\n");
    if (!grabParallel || !grabThread(meter, complaint, index))
        return;
    if (index < unsigned(grabIds.size()))
        grabThreadOfId.remove(grabIds.at(index));
    if (progress_) {
        progress_->setItemActsThreadValue(index, Steps(value));
        progress_->endItemActThread(index);
    }
    grabThreadOfMeter.remove(meter);
}

void YumIO::collectFailure(void* meter)
{
    unsigned int index = 0;
    const char* complaint = QT_TR_NOOP("Internal error: Failure: unexpected thread %1 > total files %2\n");
    if (!grabParallel || !grabThread(meter, complaint, index))
        return;
    if (progress_)
        progress_->retryItemActThread(index);
    // The (name, act) mapping stays, so that the retry gets the same row.
    grabThreadOfMeter.remove(meter);
}

// A string (text), None (empty) or, reported with complaint, anything else (empty).
bool YumIO::progressString(PyObject* object, const char* complaint, QString& text)
{
    text.clear();
    if (object == Py_None)
        return true;
    if (isString(object)) {
        text = pyString(object);
        return true;
    }
    error(tr(complaint));
    return false;
}

long YumIO::grabMeterSize(PyObject* size)
{
    if (size == Py_None)
        return 1;
    if (PyLong_Check(size)) {
        const long bytes = PyLong_AsLong(size);
        if (!PyErr_Occurred())
            return bytes;
        PyErr_Clear();
    }
    warning(tr("Internal error: collect grab size not understood"));
    return 0;
}

PyObject* YumIO::collectProgress(PyObject*, PyObject* args)
{
    long value = 0, total = 0;
    PyObject* nameObject = nullptr;
    if (!PyArg_ParseTuple(args, "llO", &value, &total, &nameObject))
        return nullptr;
    QString name;
    progressString(nameObject, QT_TR_NOOP("Internal error: unexpected progress name"), name);

    if (collectActs > 0 && total == lastTotal && name == lastName) {
        collectUpdate(nullptr, value);
    } else if (value == -1 && total == -1) {
        // Reading is over: the reading text with a full bar.
        collectStart(nullptr, name, ReadingAct, 1, 1);
    } else if (name == QLatin1String("MD Read")) {
        if (collectActs > 0 && total == lastTotal && lastName.isEmpty())
            collectUpdate(nullptr, value);
        else
            collectStart(nullptr, QString(), ConvertingAct, value, total);
    } else {
        collectStart(nullptr, name, usesSqlite() ? ConvertingAct : ReadingAct, value, total);
    }
    return noneResult();
}

PyObject* YumIO::collectGrabMeterStart(PyObject*, PyObject* args)
{
    PyObject *meter, *fileName, *url, *baseName, *sizeObject, *text;
    if (!PyArg_ParseTuple(args, "OOOOOO", &meter, &fileName, &url, &baseName, &sizeObject, &text))
        return nullptr;
    const long size = grabMeterSize(sizeObject);
    QString name;
    progressString(fileName, QT_TR_NOOP("Internal error: unexpected progress filename"), name);
    bool textCall = false;
    if (name.isEmpty() && isString(text)) {
        name = pyString(text);
        textCall = true;
    }

    const int s = int(name.lastIndexOf(QLatin1Char('/')));
    const QString file = name.mid(s + 1);
    RepoAct act = ContentsAct;
    if (file.startsWith(QLatin1String("metalink")))
        act = MirrorListAct;
    else if (file.startsWith(QLatin1String("repomd")))
        act = RepomdAct;
    else if (file.startsWith(QLatin1String("group_gz")))
        act = GroupsAct;

    if (textCall) {
        const int slash = int(name.indexOf(QLatin1Char('/')));
        if (slash >= 0)
            name.truncate(slash);
    } else if (s > 0) {
        // The directory just above the file names the download.
        const int previous = int(name.lastIndexOf(QLatin1Char('/'), s - 1));
        if (previous >= 0)
            name = name.mid(previous + 1, s - previous - 1);
    }
    name.remove(credentials());

    collectStart(meter, name, act, 0, size);
    return noneResult();
}

PyObject* YumIO::collectGrabMeterUpdate(PyObject*, PyObject* args)
{
    PyObject* meter = nullptr;
    long long value = 0;
    if (!PyArg_ParseTuple(args, "OL", &meter, &value))
        return nullptr;
    collectUpdate(meter, long(value));
    return noneResult();
}

PyObject* YumIO::collectGrabMeterEnd(PyObject*, PyObject* args)
{
    PyObject* meter = nullptr;
    long long value = 0;
    if (!PyArg_ParseTuple(args, "OL", &meter, &value))
        return nullptr;
    collectEnd(meter, long(value));
    return noneResult();
}

PyObject* YumIO::collectGrabMeterFailure(PyObject*, PyObject* args)
{
    PyObject *meter, *messageObject;
    if (!PyArg_ParseTuple(args, "OO", &meter, &messageObject))
        return nullptr;
    QString message;
    progressString(messageObject, QT_TR_NOOP("Internal error: unexpected progress failure message"), message);
    collectFailure(meter);
    return noneResult();
}

PyObject* YumIO::collectGrabMultiMeterStart(PyObject*, PyObject* args)
{
    long long files = 0, size = 0;
    if (!PyArg_ParseTuple(args, "LL", &files, &size))
        return nullptr;
    grabParallel = true;
    grabParallelSetUp = false;
    grabFiles = files;
    grabSize = size;
    grabNextThread = 0;
    grabThreadOfMeter.clear();
    // One spare slot: an index equal to the file count is let through.  Without rows only
    // the retry bookkeeping is lost.
    grabIds = QVector<ThreadId>(connectionRows(files) == files ? int(files) + 1 : 0);
    grabThreadOfId.clear();
    return noneResult();
}

PyObject* YumIO::collectGrabMultiMeterNew(PyObject*, PyObject* args)
{
    PyObject* meter = nullptr;
    return PyArg_ParseTuple(args, "O", &meter) ? noneResult() : nullptr;
}

PyObject* YumIO::collectGrabMultiMeterRemove(PyObject*, PyObject* args)
{
    PyObject* meter = nullptr;
    return PyArg_ParseTuple(args, "O", &meter) ? noneResult() : nullptr;
}

PyObject* YumIO::collectGrabMultiMeterEnd(PyObject*, PyObject*)
{
    if (progress_)
        progress_->endItemActsThreads();
    grabParallel = false;
    grabParallelSetUp = false;
    grabNextThread = 0;
    grabThreadOfMeter.clear();
    grabIds.clear();
    grabThreadOfId.clear();
    return noneResult();
}

// ---- applying: package and header downloads

qint64 YumIO::applyAdvance(qint64 bytes)
{
    return hasMultiProgress() ? bytes : std::max(bytes, minimumPackageActs);
}

PyObject* YumIO::applyGrabMeterStart(PyObject*, PyObject* args)
{
    PyObject *meter, *fileName, *url, *baseName, *sizeObject, *textObject;
    if (!PyArg_ParseTuple(args, "OOOOOO", &meter, &fileName, &url, &baseName, &sizeObject, &textObject))
        return nullptr;
    const long size = grabMeterSize(sizeObject);
    QString text;
    progressString(textObject, QT_TR_NOOP("Internal error: unexpected progress text type"), text);
    Progress::Object* progress = progress_;

    if (text == QLatin1String("<delta rebuild>")) {
        deltaRebuild = true;
        if (progress) {
            progress->endItemActs();
            progress->startItem(tr("Finishing RPM rebuild from deltas"), deltaRebuildSpan, Steps(size));
        }
        return noneResult();
    }

    QString label;
    progressString(fileName, QT_TR_NOOP("Internal error: unexpected progress name type"), label);
    if (label.isEmpty())
        label = text;
    label.remove(0, label.lastIndexOf(QLatin1Char('/')) + 1);
    label.remove(credentials());
    if (label.endsWith(QLatin1String(".rpm")) || label.endsWith(QLatin1String(".hdr")))
        label.chop(4);
    const QString activity =
        downloadingPackages ? tr("Downloading %1").arg(label) : tr("Downloading %1 header").arg(label);

    if (applyParallel) {
        if (progress)
            progress->startItemActThread(activity, applyThreadOfMeter.value(meter, 0), Steps(size));
        return noneResult();
    }
    applyActs += downloadingPackages ? applyAdvance(size) : headerActs;
    if (progress)
        progress->startItemAct(activity, Steps(size), Steps(applyActs));
    return noneResult();
}

PyObject* YumIO::applyGrabMeterUpdate(PyObject*, PyObject* args)
{
    PyObject* meter = nullptr;
    long long bytes = 0;
    if (!PyArg_ParseTuple(args, "OL", &meter, &bytes))
        return nullptr;
    if (progress_) {
        if (applyParallel)
            progress_->setItemActsThreadValue(applyThreadOfMeter.value(meter, 0), Steps(bytes));
        else
            progress_->setItemValue(Steps(bytes));
    }
    return noneResult();
}

PyObject* YumIO::applyGrabMeterEnd(PyObject*, PyObject* args)
{
    PyObject* meter = nullptr;
    long long bytes = 0;
    if (!PyArg_ParseTuple(args, "OL", &meter, &bytes))
        return nullptr;
    if (applyParallel && progress_) {
        const unsigned int index = applyThreadOfMeter.value(meter, 0);
        progress_->setItemActsThreadValue(index, Steps(bytes));
        progress_->endItemActThread(index);
    }
    return noneResult();
}

PyObject* YumIO::applyGrabMeterFailure(PyObject*, PyObject* args)
{
    PyObject *meter, *messageObject;
    if (!PyArg_ParseTuple(args, "OO", &meter, &messageObject))
        return nullptr;
    QString message;
    progressString(messageObject, QT_TR_NOOP("Internal error: unexpected progress failure message"), message);
    if (applyParallel && progress_)
        progress_->retryItemActThread(applyThreadOfMeter.value(meter, 0));
    return noneResult();
}

PyObject* YumIO::applyGrabMultiMeterStart(PyObject*, PyObject* args)
{
    long long files = 0, size = 0;
    if (!PyArg_ParseTuple(args, "LL", &files, &size))
        return nullptr;
    applyParallel = true;
    applyFiles = files;
    applySize = size;
    applyNextThread = 0;
    applyThreadOfMeter.clear();
    const qint64 first = applyActs;
    applyActs += applyAdvance(size);
    if (progress_)
        progress_->setupItemActsThreads(tr("Downloading %1 packages").arg(files), Steps(first), Steps(applyActs),
                                        connectionRows(applyFiles), Steps(applySize));
    return noneResult();
}

PyObject* YumIO::applyGrabMultiMeterNew(PyObject*, PyObject* args)
{
    PyObject* meter = nullptr;
    if (!PyArg_ParseTuple(args, "O", &meter))
        return nullptr;
    applyThreadOfMeter.insert(meter, unsigned(applyNextThread++));
    return noneResult();
}

PyObject* YumIO::applyGrabMultiMeterRemove(PyObject*, PyObject* args)
{
    PyObject* meter = nullptr;
    if (!PyArg_ParseTuple(args, "O", &meter))
        return nullptr;
    applyThreadOfMeter.remove(meter);
    return noneResult();
}

PyObject* YumIO::applyGrabMultiMeterEnd(PyObject*, PyObject*)
{
    if (progress_)
        progress_->endItemActsThreads();
    applyParallel = false;
    applyNextThread = 0;
    applyThreadOfMeter.clear();
    return noneResult();
}
