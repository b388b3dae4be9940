// Download and repository progress reported by the script: while repositories are read
// and while packages are downloaded.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

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

