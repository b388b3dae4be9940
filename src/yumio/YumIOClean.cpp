// Emptying parts of the package manager's cache through the companion script.

#include <Python.h>

#include "yumio/YumIO.h"

namespace {

// The first item of a cleaning result: 0 is success.  A call that raised gave no tuple.
long resultCode(PyObject* result)
{
    if (!result || !PyTuple_Check(result) || PyTuple_Size(result) < 1)
        return -1;
    PyObject* code = PyTuple_GetItem(result, 0);
    if (!code || !PyLong_Check(code))
        return -1;
    return PyLong_AsLong(code);
}

} // namespace

long YumIO::cleanCall(const char* method)
{
    // A call that raised has been reported, and its error cleared, by the call itself.
    PyRef result = pyMethodCall(yumIO_.get(), method, "()");
    return resultCode(result.get());
}

bool YumIO::cleanOne(const QString& heading, const char* method)
{
    log(Log::Heading, 0, heading);
    if (!yumIO_)
        return false;
    PyGILStateWrapper lock(true);
    return cleanCall(method) == 0;
}

bool YumIO::cleanHeaders()
{
    return cleanOne(tr("Cleaning Headers"), "cleanHeaders");
}

bool YumIO::cleanPackages()
{
    return cleanOne(tr("Cleaning Packages"), "cleanPackages");
}

bool YumIO::cleanXmlMetadata()
{
    return cleanOne(tr("Cleaning Xml Metadata"), "cleanMetadata");
}

bool YumIO::cleanPickledCache()
{
    return cleanOne(tr("Cleaning Pickled Cache"), "cleanPickles");
}

bool YumIO::cleanSqliteCache()
{
    return cleanOne(tr("Cleaning Sqlite Cache"), "cleanSqlite");
}

bool YumIO::cleanAll()
{
    log(Log::Heading, 0, tr("Cleaning All"));
    if (!yumIO_)
        return false;
    PyGILStateWrapper lock(true);
    // Every part is attempted before any result counts.
    const long headers = cleanCall("cleanHeaders");
    const long packages = cleanCall("cleanPackages");
    const long metadata = cleanCall("cleanMetadata");
    const long pickles = hasPickledCache() ? cleanCall("cleanPickles") : 0;
    const long sqlite = hasSqliteCache() ? cleanCall("cleanSqlite") : 0;
    return headers == 0 && packages == 0 && metadata == 0 && pickles == 0 && sqlite == 0;
}
