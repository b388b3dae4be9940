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
    collectMeter_.reset();
}

void YumIO::resetApplyProgress()
{
    downloadingPackages = true;
    applyActs = 0;
    deltaRebuild = false;
    applyMeter_.reset();
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

    if (!collectMeter_.parallel()) {
        if (progress) {
            progress->startItemAct(activity, Steps(total), Steps(collectActs));
            if (value)
                progress->setItemValue(Steps(value));
        }
        return;
    }

    if (!collectMeter_.laidOut()) {
        QString batch = tr("Unknown");
        Steps first = 0, second = 1;
        if (hasMultiProgress() && (act == GroupsAct || act == ContentsAct)) {
            batch = tr("Downloading repository contents for %1 repositories").arg(collectMeter_.files());
            first = Steps(collectMeter_.size() ? 2 * n : 3 * n);
            second = Steps(collectMeter_.size() ? 3 * n : 4 * n);
        } else if (hasMultiProgress()) {
            error(tr("Internal error: Unexpected parallel grab type:\n%1").arg(name));
        } else {
            error(tr("Internal error: Unexpected parallel grab with no parallel support:\n%1").arg(name));
        }
        collectMeter_.layOut(batch, first, second);
    }
    collectMeter_.start(meter, YumIOGrabMeter::ThreadId(name, act), activity, Steps(total), Steps(value));
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
    if (!PyArg_ParseTuple(args, YumIOCFormat::collectProgress, &value, &total, &nameObject))
        return nullptr;
    QString name;
    progressString(nameObject, QT_TR_NOOP("Internal error: unexpected progress name"), name);

    if (collectActs > 0 && total == lastTotal && name == lastName) {
        collectMeter_.update(nullptr, Steps(value));
    } else if (value == -1 && total == -1) {
        // Reading is over: the reading text with a full bar.
        collectStart(nullptr, name, ReadingAct, 1, 1);
    } else if (name == QLatin1String("MD Read")) {
        if (collectActs > 0 && total == lastTotal && lastName.isEmpty())
            collectMeter_.update(nullptr, Steps(value));
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
    if (!PyArg_ParseTuple(args, YumIOCFormat::collectGrabMeterStart, &meter, &fileName, &url, &baseName, &sizeObject,
                          &text))
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

PyObject* YumIO::meterCall(PyObject* args, YumIOGrabMeter& meter, void (YumIOGrabMeter::*call)(void*, Steps))
{
    PyObject* object = nullptr;
    long long bytes = 0;
    static_assert(YumIOCFormat::same(YumIOCFormat::collectGrabMeterUpdate, YumIOCFormat::collectGrabMeterEnd)
                  && YumIOCFormat::same(YumIOCFormat::collectGrabMeterUpdate, YumIOCFormat::applyGrabMeterUpdate)
                  && YumIOCFormat::same(YumIOCFormat::collectGrabMeterUpdate, YumIOCFormat::applyGrabMeterEnd));
    if (!PyArg_ParseTuple(args, YumIOCFormat::collectGrabMeterUpdate, &object, &bytes))
        return nullptr;
    (meter.*call)(object, Steps(bytes));
    return noneResult();
}

PyObject* YumIO::meterCall(PyObject* args, YumIOGrabMeter& meter, void (YumIOGrabMeter::*call)(void*))
{
    PyObject* object = nullptr;
    static_assert(YumIOCFormat::same(YumIOCFormat::collectGrabMultiMeterNew, YumIOCFormat::collectGrabMultiMeterRemove)
                  && YumIOCFormat::same(YumIOCFormat::collectGrabMultiMeterNew, YumIOCFormat::applyGrabMultiMeterNew)
                  && YumIOCFormat::same(YumIOCFormat::collectGrabMultiMeterNew, YumIOCFormat::applyGrabMultiMeterRemove));
    if (!PyArg_ParseTuple(args, YumIOCFormat::collectGrabMultiMeterNew, &object))
        return nullptr;
    (meter.*call)(object);
    return noneResult();
}

PyObject* YumIO::meterFailure(PyObject* args, YumIOGrabMeter& meter)
{
    PyObject *object, *messageObject;
    static_assert(YumIOCFormat::same(YumIOCFormat::collectGrabMeterFailure, YumIOCFormat::applyGrabMeterFailure));
    if (!PyArg_ParseTuple(args, YumIOCFormat::collectGrabMeterFailure, &object, &messageObject))
        return nullptr;
    QString message;
    progressString(messageObject, QT_TR_NOOP("Internal error: unexpected progress failure message"), message);
    meter.failure(object);
    return noneResult();
}

PyObject* YumIO::collectGrabMeterUpdate(PyObject*, PyObject* args)
{
    return meterCall(args, collectMeter_, &YumIOGrabMeter::update);
}

PyObject* YumIO::collectGrabMeterEnd(PyObject*, PyObject* args)
{
    return meterCall(args, collectMeter_, &YumIOGrabMeter::end);
}

PyObject* YumIO::collectGrabMeterFailure(PyObject*, PyObject* args)
{
    return meterFailure(args, collectMeter_);
}

PyObject* YumIO::collectGrabMultiMeterStart(PyObject*, PyObject* args)
{
    long long files = 0, size = 0;
    if (!PyArg_ParseTuple(args, YumIOCFormat::collectGrabMultiMeterStart, &files, &size))
        return nullptr;
    collectMeter_.startBatch(files, size);
    return noneResult();
}

PyObject* YumIO::collectGrabMultiMeterNew(PyObject*, PyObject* args)
{
    return meterCall(args, collectMeter_, &YumIOGrabMeter::add);
}

PyObject* YumIO::collectGrabMultiMeterRemove(PyObject*, PyObject* args)
{
    return meterCall(args, collectMeter_, &YumIOGrabMeter::remove);
}

PyObject* YumIO::collectGrabMultiMeterEnd(PyObject*, PyObject*)
{
    collectMeter_.endBatch();
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
    if (!PyArg_ParseTuple(args, YumIOCFormat::applyGrabMeterStart, &meter, &fileName, &url, &baseName, &sizeObject,
                          &textObject))
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

    if (applyMeter_.parallel()) {
        applyMeter_.start(meter, YumIOGrabMeter::ThreadId(), activity, Steps(size), 0);
        return noneResult();
    }
    applyActs += downloadingPackages ? applyAdvance(size) : headerActs;
    if (progress)
        progress->startItemAct(activity, Steps(size), Steps(applyActs));
    return noneResult();
}

PyObject* YumIO::applyGrabMeterUpdate(PyObject*, PyObject* args)
{
    return meterCall(args, applyMeter_, &YumIOGrabMeter::update);
}

PyObject* YumIO::applyGrabMeterEnd(PyObject*, PyObject* args)
{
    return meterCall(args, applyMeter_, &YumIOGrabMeter::end);
}

PyObject* YumIO::applyGrabMeterFailure(PyObject*, PyObject* args)
{
    return meterFailure(args, applyMeter_);
}

PyObject* YumIO::applyGrabMultiMeterStart(PyObject*, PyObject* args)
{
    long long files = 0, size = 0;
    if (!PyArg_ParseTuple(args, YumIOCFormat::applyGrabMultiMeterStart, &files, &size))
        return nullptr;
    applyMeter_.startBatch(files, size);
    const qint64 first = applyActs;
    applyActs += applyAdvance(size);
    applyMeter_.layOut(tr("Downloading %1 packages").arg(files), Steps(first), Steps(applyActs));
    return noneResult();
}

PyObject* YumIO::applyGrabMultiMeterNew(PyObject*, PyObject* args)
{
    return meterCall(args, applyMeter_, &YumIOGrabMeter::add);
}

PyObject* YumIO::applyGrabMultiMeterRemove(PyObject*, PyObject* args)
{
    return meterCall(args, applyMeter_, &YumIOGrabMeter::remove);
}

PyObject* YumIO::applyGrabMultiMeterEnd(PyObject*, PyObject*)
{
    applyMeter_.endBatch();
    return noneResult();
}
