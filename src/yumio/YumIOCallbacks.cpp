// The script's callbacks for its output, yum's loggers and the paths of the managed root.
// Those of collection, transactions and download progress live with the work they serve.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "repo/YumConfIO.h"

#include <QFile>

PyObject* YumIO::noneResult()
{
    Py_RETURN_NONE;
}

PyObject* YumIO::writeCallback(PyObject* args, Log::Kind kind, unsigned int level, QString& rest)
{
    const char* text = nullptr;
    static_assert(YumIOCFormat::same(YumIOCFormat::stdoutWrite, YumIOCFormat::stderrWrite));
    if (!PyArg_ParseTuple(args, YumIOCFormat::stdoutWrite, &text))
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
    static_assert(YumIOCFormat::same(YumIOCFormat::log, YumIOCFormat::errorlog));
    if (!PyArg_ParseTuple(args, YumIOCFormat::log, &level, &message))
        return nullptr;
    const QString text = QString::fromUtf8(message);
    // What yum says before the transaction is listed is what a question of it refers to.
    if (!transactionListed_)
        transactionText_ += text + QLatin1Char('\n');
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

PyObject* YumIO::inRoot(PyObject*, PyObject* args)
{
    // The script reads the same files as the configuration editor, confined the same way.
    const char* path = nullptr;
    if (!PyArg_ParseTuple(args, YumIOCFormat::inRoot, &path))
        return nullptr;
    const QString name = QString::fromUtf8(path);
    QByteArray resolved;
    if (!YumConfIO::resolve(name, resolved)) // a loop of links: the caller's own use reports it
        resolved = QFile::encodeName(YumConfIO::inRoot(name));
    return PyUnicode_DecodeFSDefaultAndSize(resolved.constData(), resolved.size());
}
