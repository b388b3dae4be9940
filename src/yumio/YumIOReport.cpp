// How the engine reports: into its log, and in a modal dialog on the graphical thread.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "yumio/YumIODialogs.h"

#include <QStringList>

void YumIO::log(Log::Kind kind, unsigned int level, const QString& text)
{
    logList_.record(kind, level, text);
}

void YumIO::write(const QString& text, Log::Kind kind, unsigned int level, QString& rest)
{
    logList_.recordFragment(text, kind, level, rest);
}

void YumIO::error(const QString& text)
{
    log(Log::Error, 0, text);
    if (dialogs_)
        dialogs_->critical(tr("Orvo Yum Error"), text);
}

void YumIO::warning(const QString& text)
{
    log(Log::Warning, 0, text);
    if (dialogs_)
        dialogs_->warning(tr("Orvo Yum Warning"), text);
}

void YumIO::error(const char* message)
{
    error(QString::fromUtf8(message));
}

void YumIO::warning(const char* message)
{
    warning(QString::fromUtf8(message));
}

void YumIO::pyExceptExpect(PyObject* type)
{
    logList_.lock();
    logMark_ = logList_.size();
    logList_.unlock();
    Python::pyExceptExpect(type);
}

void YumIO::pyExceptClear()
{
    logMark_ = -1;
    Python::pyExceptClear();
}

void YumIO::exceptionExpected()
{
    // The caller examines the pending exception itself.
}

namespace {

// What yum wrote to its error log since the start, and the context: the errors of
// the failed call.
QString gatherErrors(Log::EntryList& list, int start)
{
    QStringList texts;
    list.lock();
    for (int i = qMax(start, 0); i < list.size(); ++i) {
        const Log::Entry& entry = list.at(i);
        if (entry.kind == Log::Error && entry.level < 3)
            texts.append(entry.text);
    }
    list.unlock();
    return texts.join(QLatin1Char('\n'));
}

} // namespace

void YumIO::pythonException(const QString& context)
{
    int start = logMark_;
    if (start < 0) {
        logList_.lock();
        start = logList_.size();
        logList_.unlock();
    }
    log(Log::Error, 0, context);
    const QString text = gatherErrors(logList_, start);
    if (dialogs_)
        dialogs_->scrollable(tr("Orvo Yum Error"), text);
}

void YumIO::pythonExceptionV(const QString& context)
{
    int start = logMark_;
    if (start < 0) {
        logList_.lock();
        start = logList_.size();
        logList_.unlock();
    }
    log(Log::Error, 0, printableExceptionValue());
    log(Log::Error, 0, context);
    const QString text = gatherErrors(logList_, start);
    if (dialogs_)
        dialogs_->scrollable(tr("Orvo Yum Error"), text);
}

QString YumIO::printableExceptionValue()
{
    return pyStringX(pyExceptValuef().get());
}

void YumIO::printTraceback()
{
    // Printed to the interpreter's standard error, which the script routes into the log;
    // the exception stays pending for the caller's bracket to clear.
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    if (!type)
        return;
    PyErr_NormalizeException(&type, &value, &traceback);
    if (value && traceback)
        PyException_SetTraceback(value, traceback);
    Py_INCREF(type);
    Py_XINCREF(value);
    Py_XINCREF(traceback);
    PyErr_Display(type, value, traceback);
    PyErr_Restore(type, value, traceback);
    Py_DECREF(type);
    Py_XDECREF(value);
    Py_XDECREF(traceback);
}

void YumIO::commExceptSetup()
{
    pyExceptExpect(bdbQuit_.get());
    pyExceptExpect(yumBaseError_.get());
    pyExceptExpect(repoError_.get());
    pyExceptExpect(PyExc_IOError);
    pyExceptExpect(PyExc_KeyboardInterrupt);
    pyExceptExpect(PyExc_AssertionError);
    if (sqliteOperationalError_)
        pyExceptExpect(sqliteOperationalError_.get());
    if (noMoreMirrorsRepoError_)
        pyExceptExpect(noMoreMirrorsRepoError_.get());
}

bool YumIO::commExceptRaised(PyObject* result, const QString& action)
{
    if (result || !PyErr_Occurred())
        return false;
    if (pyExceptMatches(result, PyExc_IOError)) {
        const QString value = printableExceptionValue();
        printTraceback();
        error(tr("Unable to %1: I/O Error: %2\n\nEmitting a walkback to the Log window.").arg(action, value));
        return true;
    }
    if (pyExceptMatches(result, PyExc_KeyboardInterrupt) && cancelled_) {
        PyErr_Clear();
        log(Log::Info, 0, tr("Canceled: %1").arg(action));
        return true;
    }
    if (pyExceptMatches(result, PyExc_KeyboardInterrupt)) {
        printTraceback();
        error(tr("Unable to %1: KeyboardInterrupt\n\n"
                 "This usually means Orvo was sent signal SIGINT, SIGTERM, or similar.\n\n"
                 "But urlgrabber also can raise this error for several situations where it is just guessing.\n"
                 "So, emitting a walkback to the Log window.")
                  .arg(action));
        return true;
    }
    if (pyExceptMatches(result, PyExc_AssertionError)) {
        printTraceback();
        error(tr("Internal error: python assertion failed\n"
                 "When reporting this issue, please include the contents of the\n"
                 "Log window, which should contain a walkback."));
        return true;
    }
    if (noMoreMirrorsRepoError_ && pyExceptMatches(result, noMoreMirrorsRepoError_.get())) {
        error(tr("Unable to %1: metadata unavailable from all repo mirrors:\n%2").arg(action, printableExceptionValue()));
        return true;
    }
    // Before the general YumBaseError, of which RepoError is a kind.
    if (pyExceptMatches(result, repoError_.get())
        || (sqliteOperationalError_ && pyExceptMatches(result, sqliteOperationalError_.get()))) {
        if (printableExceptionValue().contains(QLatin1String("database is locked")))
            pythonException(tr("Unable to %1: a repository's sqlite database was locked unexpectedly\n"
                               "On some distributions, PackageKit has been known to cause this.")
                                .arg(action));
        else
            exceptionError();
        return true;
    }
    if (pyExceptMatches(result, bdbQuit_.get()) || pyExceptMatches(result, yumBaseError_.get())) {
        pythonExceptionV(tr("Unable to %1").arg(action));
        return true;
    }
    return false;
}
