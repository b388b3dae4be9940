// The package manager's reading of configuration text, before it replaces a file.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

bool YumIO::checkRepoText(const QString& shown, const QByteArray& text, bool mainFile, QString& message)
{
    PyGILStateWrapper lock(true);
    message.clear();
    if (!yumIO_)
        return true;
    PyRef result = PyRef::steal(PyObject_CallMethod(yumIO_.get(), "checkRepoText", "(y#si)", text.constData(),
                                                    Py_ssize_t(text.size()), shown.toUtf8().constData(),
                                                    int(mainFile)));
    if (!result) {
        message = printableExceptionValue();
        PyErr_Clear();
        return false;
    }
    message = pyStringX(result.get());
    return message.isEmpty();
}
