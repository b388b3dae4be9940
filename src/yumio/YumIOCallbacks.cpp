// The script's callbacks.  Those whose work belongs to collection, transactions and
// download progress parse their arguments here and are answered there.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

PyObject* YumIO::noneResult()
{
    Py_RETURN_NONE;
}

PyObject* YumIO::writeCallback(PyObject* args, Log::Kind kind, unsigned int level, QString& rest)
{
    const char* text = nullptr;
    if (!PyArg_ParseTuple(args, "s", &text))
        return nullptr;
    write(QString::fromUtf8(text), kind, level, rest);
    return noneResult();
}

PyObject* YumIO::stdoutWrite(PyObject*, PyObject* args)
{
    return writeCallback(args, Log::Output, 0, stdoutRest_);
}

PyObject* YumIO::stderrWrite(PyObject*, PyObject* args)
{
    return writeCallback(args, stderrKind, stderrLevel, stderrRest_);
}

PyObject* YumIO::logCallback(PyObject* args, Log::Kind kind)
{
    long level = 0;
    const char* message = nullptr;
    if (!PyArg_ParseTuple(args, "ls", &level, &message))
        return nullptr;
    log(kind, (unsigned int)level, QString::fromUtf8(message));
    return noneResult();
}

PyObject* YumIO::log(PyObject*, PyObject* args)
{
    return logCallback(args, Log::Info);
}

PyObject* YumIO::errorlog(PyObject*, PyObject* args)
{
    return logCallback(args, Log::Error);
}

PyObject* YumIO::collectProgress(PyObject*, PyObject* args)
{
    long done = 0, total = 0;
    PyObject* name = nullptr;
    if (!PyArg_ParseTuple(args, "llO", &done, &total, &name))
        return nullptr;
    return noneResult();
}

namespace {

bool parseMeterStart(PyObject* args)
{
    PyObject *a, *b, *c, *d, *e, *f;
    return PyArg_ParseTuple(args, "OOOOOO", &a, &b, &c, &d, &e, &f);
}

bool parseMeterValue(PyObject* args)
{
    PyObject* meter = nullptr;
    long long value = 0;
    return PyArg_ParseTuple(args, "OL", &meter, &value);
}

bool parseObjects2(PyObject* args)
{
    PyObject *a, *b;
    return PyArg_ParseTuple(args, "OO", &a, &b);
}

bool parseLongs2(PyObject* args)
{
    long long a = 0, b = 0;
    return PyArg_ParseTuple(args, "LL", &a, &b);
}

bool parseObject(PyObject* args)
{
    PyObject* a = nullptr;
    return PyArg_ParseTuple(args, "O", &a);
}

} // namespace

PyObject* YumIO::collectGrabMeterStart(PyObject*, PyObject* args)
{
    return parseMeterStart(args) ? noneResult() : nullptr;
}

PyObject* YumIO::collectGrabMeterUpdate(PyObject*, PyObject* args)
{
    return parseMeterValue(args) ? noneResult() : nullptr;
}

PyObject* YumIO::collectGrabMeterEnd(PyObject*, PyObject* args)
{
    return parseMeterValue(args) ? noneResult() : nullptr;
}

PyObject* YumIO::collectGrabMeterFailure(PyObject*, PyObject* args)
{
    return parseObjects2(args) ? noneResult() : nullptr;
}

PyObject* YumIO::collectGrabMultiMeterStart(PyObject*, PyObject* args)
{
    return parseLongs2(args) ? noneResult() : nullptr;
}

PyObject* YumIO::collectGrabMultiMeterNew(PyObject*, PyObject* args)
{
    return parseObject(args) ? noneResult() : nullptr;
}

PyObject* YumIO::collectGrabMultiMeterRemove(PyObject*, PyObject* args)
{
    return parseObject(args) ? noneResult() : nullptr;
}

PyObject* YumIO::collectGrabMultiMeterEnd(PyObject*, PyObject*)
{
    return noneResult();
}

PyObject* YumIO::applyGrabMeterStart(PyObject*, PyObject* args)
{
    return parseMeterStart(args) ? noneResult() : nullptr;
}

PyObject* YumIO::applyGrabMeterUpdate(PyObject*, PyObject* args)
{
    return parseMeterValue(args) ? noneResult() : nullptr;
}

PyObject* YumIO::applyGrabMeterEnd(PyObject*, PyObject* args)
{
    return parseMeterValue(args) ? noneResult() : nullptr;
}

PyObject* YumIO::applyGrabMeterFailure(PyObject*, PyObject* args)
{
    return parseObjects2(args) ? noneResult() : nullptr;
}

PyObject* YumIO::applyGrabMultiMeterStart(PyObject*, PyObject* args)
{
    return parseLongs2(args) ? noneResult() : nullptr;
}

PyObject* YumIO::applyGrabMultiMeterNew(PyObject*, PyObject* args)
{
    return parseObject(args) ? noneResult() : nullptr;
}

PyObject* YumIO::applyGrabMultiMeterRemove(PyObject*, PyObject* args)
{
    return parseObject(args) ? noneResult() : nullptr;
}

PyObject* YumIO::applyGrabMultiMeterEnd(PyObject*, PyObject*)
{
    return noneResult();
}

PyObject* YumIO::dsTsCheck(PyObject*, PyObject*)
{
    return noneResult();
}

PyObject* YumIO::dsRestartLoop(PyObject*, PyObject*)
{
    return noneResult();
}

PyObject* YumIO::userconfirm(PyObject*, PyObject*)
{
    // Nothing is confirmed until the transaction listing exists to be shown.
    Py_RETURN_FALSE;
}

PyObject* YumIO::reportDownloadSize(PyObject*, PyObject* args)
{
    return parseObject(args) ? noneResult() : nullptr;
}

PyObject* YumIO::listTransaction(PyObject*, PyObject* args)
{
    return parseObject(args) ? noneResult() : nullptr;
}

PyObject* YumIO::tsInitCallback(PyObject*, PyObject* args)
{
    long phase = 0;
    if (!PyArg_ParseTuple(args, "l", &phase))
        return nullptr;
    return noneResult();
}

PyObject* YumIO::tsCallback(PyObject*, PyObject* args)
{
    long what = 0;
    long long amount = 0, total = 0;
    PyObject *key, *client;
    if (!PyArg_ParseTuple(args, "lLLOO", &what, &amount, &total, &key, &client))
        return nullptr;
    return noneResult();
}

PyObject* YumIO::tsEvent(PyObject*, PyObject* args)
{
    PyObject* member = nullptr;
    long code = 0, a = 0, b = 0;
    long long c = 0, d = 0;
    if (!PyArg_ParseTuple(args, "OlLLll", &member, &code, &c, &d, &a, &b))
        return nullptr;
    return noneResult();
}

PyObject* YumIO::postTransactionOutput(PyObject*, PyObject* args)
{
    return parseObject(args) ? noneResult() : nullptr;
}

PyObject* YumIO::gpgsigcheck(PyObject*, PyObject*)
{
    return noneResult();
}
