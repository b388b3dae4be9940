// The script's callbacks.  Those whose work belongs to collection, transactions and
// download progress parse their arguments here and are answered there.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

namespace {

bool parseObject(PyObject* args)
{
    PyObject* a = nullptr;
    return PyArg_ParseTuple(args, "O", &a);
}

} // namespace

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
    const QString text = QString::fromUtf8(message);
    log(kind, (unsigned int)level, text);
    // yum's solver names each package that joins the transaction on its information logger.
    if (kind == Log::Info && text.startsWith(QLatin1String("TSINFO: ")))
        dsTsInfo(text.mid(8));
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
