#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "python/PyRef.h"

PyRef::PyRef(PyRef&& other) noexcept : object(other.object)
{
    other.object = nullptr;
}

PyRef& PyRef::operator=(PyRef&& other) noexcept
{
    if (this != &other)
        reset(other.release());
    return *this;
}

PyRef::~PyRef()
{
    Py_XDECREF(object);
}

PyRef PyRef::steal(PyObject* object) noexcept
{
    return PyRef(object);
}

PyRef PyRef::borrow(PyObject* object) noexcept
{
    Py_XINCREF(object);
    return PyRef(object);
}

PyObject* PyRef::release() noexcept
{
    PyObject* released = object;
    object = nullptr;
    return released;
}

void PyRef::reset(PyObject* newReference) noexcept
{
    // Swap first: releasing can run arbitrary code that may look at this handle.
    PyObject* old = object;
    object = newReference;
    Py_XDECREF(old);
}
