#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "app/Globals.h"
#include "app/Share.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIOC.h"
#include "yumio/YumIODialogs.h"

#include <QFile>
#include <QStringList>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
std::atomic<bool> versionWarned { false };
}

void YumIO::Blocker::block()
{
    mutex.lock();
    mutex.unlock();
}

YumIO::YumIO() = default;

YumIO::~YumIO()
{
    PyGILStateWrapper lock(initialized);
    if (initialized) {
        py("import sys\nsys.stdout = sys.__stdout__\nsys.stderr = sys.__stderr__\n");
        if (yumLocked_ && yumIO_) {
            pyExceptStart();
            pyExceptExpect(lockError_.get());
            PyRef result = pyMethodCall(yumIO_.get(), "unlock", "()");
            if (pyExceptMatches(result.get(), lockError_.get()))
                pythonException(tr("Unable to release yum lock"));
            pyExceptClear();
            yumLocked_ = false;
        }
    }
    // Entries and interpreter references go while the lock is held; the interpreter
    // itself ends in the base class, after every member is gone.
    for (Package::Entry* entry : qAsConst(entries_)) {
        for (Package::Entry* e = entry; e; e = e->next)
            e->yumObject.reset();
        delete entry;
    }
    entries_.clear();
    keyHash_.clear();
    reposDict_.reset();
    yumIO_.reset();
    yumIOClass_.reset();
    rpmDict_.reset();
    bdbQuit_.reset();
    yumBaseError_.reset();
    repoError_.reset();
    sqliteOperationalError_.reset();
    lockError_.reset();
    groupsError_.reset();
    noMoreMirrorsRepoError_.reset();
    delete dialogs_;
    dialogs_ = nullptr;
    // The interpreter ends after this body, in the base class.
    YumIOC::release(this);
}

void YumIO::setup(QWidget* parent, HProgressBar* totalBar, HProgressBar* itemBar)
{
    parent_ = parent;
    totalBar_ = totalBar;
    itemBar_ = itemBar;
    delete dialogs_;
    dialogs_ = new YumIODialogs(parent);
}

bool YumIO::initialize()
{
    if (!Python::initialize())
        return false;
    if (yumIO_)
        return true;
    PyGILStateWrapper lock(true);

    if (!YumIOC::initialize(this)) {
        if (PyErr_Occurred())
            handleException();
        error(tr("Internal error: cannot create python yumIOC module"));
        return false;
    }

    {
        PyRef argv = PyRef::steal(Py_BuildValue("[ss]", program, "info"));
        if (!argv || PySys_SetObject("argv", argv.get()) < 0) {
            if (PyErr_Occurred())
                handleException();
            error(tr("Internal error: cannot set python sys.argv"));
            return false;
        }
    }

    {
        PyRef rpm = PyRef::steal(PyImport_ImportModule("rpm"));
        if (!rpm) {
            if (PyErr_Occurred())
                handleException();
            error(tr("Internal error: cannot find python rpm module"));
            return false;
        }
        PyObject* dict = PyModule_GetDict(rpm.get()); // borrowed
        if (!dict) {
            error(tr("Internal error: cannot find python rpm dict"));
            return false;
        }
        rpmDict_ = PyRef::borrow(dict);
    }

    setEnablePythonSIGINTHandler(false);

    const QByteArray scriptPath = QFile::encodeName(Share::absolute(QStringLiteral("python/YumIO.py")));
    std::FILE* file = std::fopen(scriptPath.constData(), "r");
    if (!file) {
        if (PyErr_Occurred())
            handleException();
        error(tr("Internal error: unable to open YumIO.py"));
        return false;
    }
    {
        // Closes the file whatever the outcome.
        PyRef ran = PyRef::steal(PyRun_FileExFlags(file, "YumIO.py", Py_file_input, main_dict, main_dict, 1, nullptr));
        if (!ran) {
            if (PyErr_Occurred())
                handleException();
            error(tr("Internal error: unable to execute YumIO.py"));
            return false;
        }
    }

    PyObject* scriptClass = PyDict_GetItemString(main_dict, "YumIO"); // borrowed
    if (!scriptClass) {
        error(tr("Internal error: cannot find python YumIO"));
        return false;
    }
    yumIOClass_ = PyRef::borrow(scriptClass);

    // Left open on purpose: a SystemExit from any later call without a bracket of its own
    // then counts as expected instead of ending the program.
    pyExceptStart();
    pyExceptExpect(PyExc_SystemExit);
    PyRef object = pyCall("YumIO", "()");
    if (pyExceptMatches(object.get(), PyExc_SystemExit)) {
        pythonException(tr("Unable to initialize"));
        PyErr_Clear();
        return false;
    }
    if (!object) {
        error(tr("Internal error: cannot create python yumIO"));
        return false;
    }

    if (!lookupExceptionType(bdbQuit_, "bdb.BdbQuit", false)
        || !lookupExceptionType(yumBaseError_, "yum.Errors.YumBaseError", false)
        || !lookupExceptionType(lockError_, "yum.Errors.LockError", false)
        || !lookupExceptionType(groupsError_, "yum.Errors.GroupsError", false)
        || !lookupExceptionType(repoError_, "yum.Errors.RepoError", false))
        return false;
    // Older yum lacks these: a missing one is simply never matched.
    lookupExceptionType(sqliteOperationalError_, "sqlite3.OperationalError", true);
    lookupExceptionType(noMoreMirrorsRepoError_, "yum.Errors.NoMoreMirrorsRepoError", true);

    yumIO_ = std::move(object);
    return true;
}

bool YumIO::lookupExceptionType(PyRef& slot, const char* name, bool quiet)
{
    PyObject* type = pyLookup(name, quiet); // borrowed
    if (!type) {
        PyErr_Clear();
        return false;
    }
    slot = PyRef::borrow(type);
    return true;
}

bool YumIO::takeYumLock()
{
    if (yumLocked_)
        return true;
    PyGILStateWrapper lock(true);
    pyExceptStart();
    pyExceptExpect(lockError_.get());
    PyRef result = pyMethodCall(yumIO_.get(), "lock", "()");
    if (pyExceptMatches(result.get(), lockError_.get())) {
        pythonException(tr("Unable to obtain yum lock"));
        pyExceptClear();
        return false;
    }
    pyExceptClear();
    if (!result)
        return false;
    yumLocked_ = true;
    return true;
}

QString YumIO::yumVersionStr()
{
    if (yumVersionKnown_)
        return yumVersionStr_;
    yumVersionKnown_ = true;
    PyGILStateWrapper lock(true);
    PyObject* version = pyLookup("yum.__version__", true); // borrowed
    if (!version) {
        PyErr_Clear();
        version = pyLookup("cli.__version__", true);
    }
    if (version)
        yumVersionStr_ = pyStringX(version);
    PyErr_Clear();
    return yumVersionStr_;
}

unsigned long YumIO::yumVersion()
{
    const QString text = yumVersionStr();
    const QStringList parts = text.split(QLatin1Char('.'));
    static const unsigned long weights[] = { 10000, 100, 1 };
    unsigned long version = 0;
    for (int i = 0; i < 3 && i < parts.size(); ++i) {
        const QByteArray part = parts.at(i).toLatin1();
        errno = 0;
        const unsigned long value = std::strtoul(part.constData(), nullptr, 10);
        if (errno != 0) {
            const int number = errno;
            if (!versionWarned.exchange(true))
                warning(tr("Internal error: yum version not understood: %1 errno=%2 (%3)")
                            .arg(text)
                            .arg(number)
                            .arg(QString::fromLocal8Bit(std::strerror(number))));
            break;
        }
        version += value * weights[i];
    }
    return version;
}

// These bounds are deliberate: they are where yum changed what it offers.
bool YumIO::hasDistribGroups()
{
    return yumVersion() > 20499;
}

bool YumIO::hasTransTest()
{
    return yumVersion() <= 30202;
}

bool YumIO::hasPickledCache()
{
    return yumVersion() <= 20901;
}

bool YumIO::hasSqliteCache()
{
    return yumVersion() > 20301;
}

bool YumIO::probe(bool& known, bool& answer, bool method, const char* name)
{
    if (known)
        return answer;
    known = true;
    PyGILStateWrapper lock(true);
    pyExceptStart();
    PyRef result = method ? pyMethodCall(yumIO_.get(), name, "()") : pyCall(name, "()");
    answer = result.get() == Py_True;
    pyExceptClear();
    return answer;
}

bool YumIO::usesSqlite()
{
    return probe(usesSqliteKnown_, usesSqlite_, false, "usesSqlite");
}

bool YumIO::usesPresto()
{
    return probe(usesPrestoKnown_, usesPresto_, true, "usesPresto");
}

bool YumIO::hasMultiProgress()
{
    return probe(hasMultiProgressKnown_, hasMultiProgress_, true, "hasMultiProgress");
}

QString YumIO::getYumVar(const QString& name)
{
    PyGILStateWrapper lock(true);
    if (!yumIO_)
        return QString();
    PyRef conf = PyRef::steal(PyObject_GetAttrString(yumIO_.get(), "conf"));
    if (!conf) {
        PyErr_Clear();
        return QString();
    }
    PyRef vars = PyRef::steal(PyObject_GetAttrString(conf.get(), "yumvar"));
    if (!vars) {
        PyErr_Clear();
        return QString();
    }
    return pyMappingString(vars.get(), name.toUtf8().constData());
}
