// Interpreter values handed over by yum, turned into the texts and numbers shown.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include <QRegularExpression>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

QString YumIO::simpleString(PyObject* package, const char* name)
{
    PyGILStateWrapper lock(true);
    pyExceptStart();
    pyExceptExpect(PyExc_KeyError);
    PyRef result = pyMethodCall(package, "returnSimple", "(s)", name);
    pyExceptClear();
    if (!result || result.get() == Py_None)
        return QString(); // a missing tag is no error
    QString text = pyStringX(result.get());
    static const QRegularExpression trailingNewlines(QStringLiteral("\n*$"));
    text.remove(trailingNewlines);
    return text;
}

QString YumIO::getBiArch(const QString& arch)
{
    return pyStringX(pyMethodCall(yumIO_.get(), "getBiArch", "(s)", arch.toUtf8().constData()).get());
}

namespace {

// A decimal text; false only when the conversion sets an error number (out of range), so
// a text without digits reads as 0.
bool readDecimal(const char* text, qint64& value)
{
    errno = 0;
    const long long read = std::strtoll(text, nullptr, 10);
    if (errno != 0)
        return false;
    value = read;
    return true;
}

} // namespace

qint64 YumIO::sizeOf(PyObject* package)
{
    PyRef size = PyRef::steal(PyObject_GetAttrString(package, "size"));
    if (!size) {
        PyErr_Clear();
        error(tr("Internal error: package size not understood"));
        return 0;
    }
    const auto readValue = [this](PyObject* value, qint64& out) -> int {
        // 1 read, 0 not a number or text, -1 a text that is no number
        if (PyLong_Check(value)) {
            out = PyLong_AsLongLong(value);
            if (PyErr_Occurred()) {
                PyErr_Clear();
                return -1;
            }
            return 1;
        }
        if (PyUnicode_Check(value) || PyBytes_Check(value)) {
            const QString text = pyString(value);
            if (!readDecimal(text.toLatin1().constData(), out)) {
                error(tr("Internal error: package size not understood: %1").arg(text));
                return -2;
            }
            return 1;
        }
        return 0;
    };
    qint64 bytes = 0;
    int read = readValue(size.get(), bytes);
    if (read == 1)
        return bytes;
    if (read == 0 && PyCallable_Check(size.get())) {
        PyRef result = PyRef::steal(PyObject_CallObject(size.get(), nullptr));
        if (!result) {
            if (PyErr_Occurred())
                handleException();
            return 0;
        }
        read = readValue(result.get(), bytes);
        if (read == 1)
            return bytes;
        if (read != -2)
            error(tr("Internal error: package size result not understood"));
        return 0;
    }
    if (read != -2)
        error(tr("Internal error: package size not understood"));
    return 0;
}

QString YumIO::bytesFormat(unsigned long long bytes)
{
    // Each bound is a thousand of the next smaller power-of-two unit, so that a number
    // never shows four digits.
    struct Unit {
        unsigned long long from;
        double divisor;
        const char* text;
    };
    static const Unit units[] = {
        { 1125899906842624000ULL, 1152921504606846976.0, QT_TRANSLATE_NOOP("YumIO", "Eb") },
        { 1099511627776000ULL, 1125899906842624.0, QT_TRANSLATE_NOOP("YumIO", "Pb") },
        { 1073741824000ULL, 1099511627776.0, QT_TRANSLATE_NOOP("YumIO", "Tb") },
        { 1048576000ULL, 1073741824.0, QT_TRANSLATE_NOOP("YumIO", "Gb") },
        { 1024000ULL, 1048576.0, QT_TRANSLATE_NOOP("YumIO", "Mb") },
        { 1000ULL, 1024.0, QT_TRANSLATE_NOOP("YumIO", "Kb") },
        { 0ULL, 1.0, QT_TRANSLATE_NOOP("YumIO", "b") },
    };
    for (const Unit& unit : units) {
        if (bytes < unit.from)
            continue;
        const double value = double(bytes) / unit.divisor;
        char number[64];
        std::snprintf(number, sizeof number, value > 0 && value < 9.95 ? "%.1f" : "%.0f", value);
        return QString::fromLatin1(number) + tr(unit.text);
    }
    return QString();
}

qint64 YumIO::buildTimeOf(PyObject* package)
{
    PyGILStateWrapper lock(true);
    pyExceptStart();
    pyExceptExpect(PyExc_KeyError);
    PyRef result = pyMethodCall(package, "returnSimple", "(s)", "buildtime");
    pyExceptClear();
    return result ? pyTime(result.get()) : 0;
}

const char* YumIO::timeFormat(long t)
{
    const time_t when = t;
    if (!ctime_r(&when, timeBuffer_)) {
        timeBuffer_[0] = '\0';
        return timeBuffer_;
    }
    const size_t length = std::strlen(timeBuffer_);
    if (length > 0 && timeBuffer_[length - 1] == '\n')
        timeBuffer_[length - 1] = '\0';
    return timeBuffer_;
}

const char* YumIO::dateFormat(long t)
{
    // "Www Mmm dd hh:mm:ss yyyy": drop the time of day and the blank before it.
    timeFormat(t);
    if (std::strlen(timeBuffer_) >= 24 && timeBuffer_[10] == ' ' && timeBuffer_[13] == ':')
        std::memmove(timeBuffer_ + 10, timeBuffer_ + 19, std::strlen(timeBuffer_ + 19) + 1);
    return timeBuffer_;
}

QString YumIO::pyString(PyObject* object)
{
    if (!object) {
        error(tr("Internal error: YumIO::pyString called with NULL"));
        return QString();
    }
    if (object == Py_None)
        return QString();
    if (PyBytes_Check(object))
        return QString::fromUtf8(PyBytes_AsString(object), int(PyBytes_Size(object)));
    if (PyUnicode_Check(object)) {
        Py_ssize_t size = 0;
        const char* text = PyUnicode_AsUTF8AndSize(object, &size);
        if (!text) {
            PyErr_Clear();
            return QString();
        }
        return QString::fromUtf8(text, int(size));
    }
    error(tr("Internal error: YumIO::pyString did not understand type"));
    return QString();
}

QString YumIO::pyStringDec(PyObject* object)
{
    PyRef owned = PyRef::steal(object);
    return pyString(object);
}

QString YumIO::pyStringX(PyObject* object)
{
    if (!object || object == Py_None || PyUnicode_Check(object) || PyBytes_Check(object))
        return pyString(object);
    PyRef text = PyRef::steal(PyObject_Str(object));
    if (!text) {
        PyErr_Clear();
        return QString();
    }
    return pyString(text.get());
}

QString YumIO::pyStringXDec(PyObject* object)
{
    PyRef owned = PyRef::steal(object);
    return pyStringX(object);
}

QString YumIO::pyMappingString(PyObject* mapping, const char* key)
{
    if (!mapping)
        return QString();
    PyRef value = PyRef::steal(PyMapping_GetItemString(mapping, key));
    if (!value) {
        PyErr_Clear();
        return QString();
    }
    return pyStringX(value.get());
}

PyObject* YumIO::pyDictGetItem(PyObject* dict, const QString& key)
{
    if (!dict || !PyDict_Check(dict))
        return nullptr;
    return PyDict_GetItemString(dict, key.toUtf8().constData()); // borrowed
}

qint64 YumIO::pyTime(PyObject* object)
{
    if (!object || object == Py_None)
        return 0;
    if (PyLong_Check(object)) {
        const qint64 value = PyLong_AsLongLong(object);
        if (PyErr_Occurred()) {
            PyErr_Clear();
            return 0;
        }
        return value;
    }
    if (PyFloat_Check(object))
        return qint64(PyFloat_AsDouble(object));
    if (PyUnicode_Check(object) || PyBytes_Check(object)) {
        qint64 value = 0;
        return readDecimal(pyString(object).toLatin1().constData(), value) ? value : 0;
    }
    return 0;
}

qint64 YumIO::pyTimeDec(PyObject* object)
{
    PyRef owned = PyRef::steal(object);
    return pyTime(object);
}

const char* YumIO::pyDescribe(PyObject* object)
{
    if (!object) {
        std::snprintf(describeBuffer_, sizeof describeBuffer_, "*NULL*");
    } else if (PyLong_Check(object)) {
        const long long value = PyLong_AsLongLong(object);
        if (PyErr_Occurred())
            PyErr_Clear();
        std::snprintf(describeBuffer_, sizeof describeBuffer_, "%lld", value);
    } else if (object == Py_None) {
        std::snprintf(describeBuffer_, sizeof describeBuffer_, "*None*");
    } else if (PyUnicode_Check(object) || PyBytes_Check(object)) {
        std::snprintf(describeBuffer_, sizeof describeBuffer_, "%s", pyString(object).toUtf8().constData());
    } else {
        PyRef text = PyRef::steal(PyObject_CallMethod(object, "__str__", nullptr));
        if (text && (PyUnicode_Check(text.get()) || PyBytes_Check(text.get())))
            std::snprintf(describeBuffer_, sizeof describeBuffer_, "%s(*Obj*)",
                          pyString(text.get()).toUtf8().constData());
        else
            std::snprintf(describeBuffer_, sizeof describeBuffer_, "*Obj-no-str*");
        PyErr_Clear();
    }
    return describeBuffer_;
}

bool YumIO::parseEnvra(const QString& envra, QString& epoch, QString& name, QString& version,
                       QString& release, QString& arch)
{
    // yum writes "epoch:name-version-release.arch"; dnf writes
    // "name-[epoch:]version-release.arch".  Names may hold dashes and dots, so the
    // fields are taken from the right.
    QString rest = envra.trimmed();
    epoch.clear();
    static const QRegularExpression leadingEpoch(QStringLiteral("^([0-9]+):"));
    const QRegularExpressionMatch m = leadingEpoch.match(rest);
    if (m.hasMatch()) {
        epoch = m.captured(1);
        rest = rest.mid(m.capturedLength(0));
    }
    const int dot = rest.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0)
        return false;
    arch = rest.mid(dot + 1);
    rest.truncate(dot);
    const int releaseDash = rest.lastIndexOf(QLatin1Char('-'));
    if (releaseDash <= 0)
        return false;
    release = rest.mid(releaseDash + 1);
    rest.truncate(releaseDash);
    const int versionDash = rest.lastIndexOf(QLatin1Char('-'));
    if (versionDash <= 0)
        return false;
    version = rest.mid(versionDash + 1);
    name = rest.left(versionDash);
    const int colon = version.indexOf(QLatin1Char(':'));
    if (colon >= 0) {
        if (!epoch.isEmpty())
            return false;
        epoch = version.left(colon);
        version = version.mid(colon + 1);
    }
    if (epoch.isEmpty())
        epoch = QStringLiteral("0");
    return !arch.isEmpty() && !release.isEmpty() && !version.isEmpty() && !name.isEmpty();
}
