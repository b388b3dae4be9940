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

QHash<QString, QString> YumIO::yumVars()
{
    PyGILStateWrapper lock(true);
    QHash<QString, QString> vars;
    if (!yumIO_)
        return vars;
    PyRef conf = PyRef::steal(PyObject_GetAttrString(yumIO_.get(), "conf"));
    PyRef dict = conf ? PyRef::steal(PyObject_GetAttrString(conf.get(), "yumvar")) : PyRef();
    if (dict && PyDict_Check(dict.get())) {
        PyObject* key = nullptr;
        PyObject* value = nullptr;
        Py_ssize_t position = 0;
        while (PyDict_Next(dict.get(), &position, &key, &value)) {
            if (PyUnicode_Check(key) && PyUnicode_Check(value))
                vars.insert(pyStringX(key), pyStringX(value));
        }
    }
    PyErr_Clear();
    return vars;
}
