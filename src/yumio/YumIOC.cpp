#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIOC.h"

#include "python/PyRef.h"
#include "yumio/YumIO.h"

namespace {

YumIO* registered = nullptr;
PyObject* module = nullptr; // kept for the life of the interpreter by sys.modules

// Each callback is a thin function that forwards to the engine's method of the same name.
#define YUMIOC_FORWARD(name)                                                                       \
    PyObject* name(PyObject* self, PyObject* args)                                                 \
    {                                                                                              \
        if (!registered) {                                                                         \
            PyErr_SetString(PyExc_RuntimeError, "yumIOC: no engine");                              \
            return nullptr;                                                                        \
        }                                                                                          \
        if (Python::raiseInterrupt())                                                              \
            return nullptr;                                                                        \
        return registered->name(self, args);                                                       \
    }

YUMIOC_FORWARD(stdoutWrite)
YUMIOC_FORWARD(stderrWrite)
YUMIOC_FORWARD(log)
YUMIOC_FORWARD(errorlog)
YUMIOC_FORWARD(collectProgress)
YUMIOC_FORWARD(collectGrabMeterStart)
YUMIOC_FORWARD(collectGrabMeterUpdate)
YUMIOC_FORWARD(collectGrabMeterEnd)
YUMIOC_FORWARD(collectGrabMeterFailure)
YUMIOC_FORWARD(collectGrabMultiMeterStart)
YUMIOC_FORWARD(collectGrabMultiMeterNew)
YUMIOC_FORWARD(collectGrabMultiMeterRemove)
YUMIOC_FORWARD(collectGrabMultiMeterEnd)
YUMIOC_FORWARD(applyGrabMeterStart)
YUMIOC_FORWARD(applyGrabMeterUpdate)
YUMIOC_FORWARD(applyGrabMeterEnd)
YUMIOC_FORWARD(applyGrabMeterFailure)
YUMIOC_FORWARD(applyGrabMultiMeterStart)
YUMIOC_FORWARD(applyGrabMultiMeterNew)
YUMIOC_FORWARD(applyGrabMultiMeterRemove)
YUMIOC_FORWARD(applyGrabMultiMeterEnd)
YUMIOC_FORWARD(dsTsCheck)
YUMIOC_FORWARD(dsRestartLoop)
YUMIOC_FORWARD(userconfirm)
YUMIOC_FORWARD(reportDownloadSize)
YUMIOC_FORWARD(listTransaction)
YUMIOC_FORWARD(tsInitCallback)
YUMIOC_FORWARD(tsCallback)
YUMIOC_FORWARD(tsEvent)
YUMIOC_FORWARD(postTransactionOutput)
YUMIOC_FORWARD(gpgsigcheck)

#undef YUMIOC_FORWARD

#define YUMIOC_ARGS(name) { #name, name, METH_VARARGS, nullptr }
#define YUMIOC_NONE(name) { #name, name, METH_NOARGS, nullptr }

PyMethodDef methods[] = {
    YUMIOC_ARGS(stdoutWrite),
    YUMIOC_ARGS(stderrWrite),
    YUMIOC_ARGS(log),
    YUMIOC_ARGS(errorlog),
    YUMIOC_ARGS(collectProgress),
    YUMIOC_ARGS(collectGrabMeterStart),
    YUMIOC_ARGS(collectGrabMeterUpdate),
    YUMIOC_ARGS(collectGrabMeterEnd),
    YUMIOC_ARGS(collectGrabMeterFailure),
    YUMIOC_ARGS(collectGrabMultiMeterStart),
    YUMIOC_ARGS(collectGrabMultiMeterNew),
    YUMIOC_ARGS(collectGrabMultiMeterRemove),
    YUMIOC_ARGS(collectGrabMultiMeterEnd),
    YUMIOC_ARGS(applyGrabMeterStart),
    YUMIOC_ARGS(applyGrabMeterUpdate),
    YUMIOC_ARGS(applyGrabMeterEnd),
    YUMIOC_ARGS(applyGrabMeterFailure),
    YUMIOC_ARGS(applyGrabMultiMeterStart),
    YUMIOC_ARGS(applyGrabMultiMeterNew),
    YUMIOC_ARGS(applyGrabMultiMeterRemove),
    YUMIOC_ARGS(applyGrabMultiMeterEnd),
    YUMIOC_NONE(dsTsCheck),
    YUMIOC_NONE(dsRestartLoop),
    YUMIOC_NONE(userconfirm),
    YUMIOC_ARGS(reportDownloadSize),
    YUMIOC_ARGS(listTransaction),
    YUMIOC_ARGS(tsInitCallback),
    YUMIOC_ARGS(tsCallback),
    YUMIOC_ARGS(tsEvent),
    YUMIOC_ARGS(postTransactionOutput),
    YUMIOC_ARGS(gpgsigcheck),
    { nullptr, nullptr, 0, nullptr },
};

#undef YUMIOC_ARGS
#undef YUMIOC_NONE

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT, "yumIOC", nullptr, -1, methods, nullptr, nullptr, nullptr, nullptr,
};

} // namespace

bool YumIOC::initialize(YumIO* engine)
{
    registered = engine;
    if (module)
        return true;
    PyRef created = PyRef::steal(PyModule_Create2(&definition, PYTHON_API_VERSION));
    if (!created)
        return false;
    PyObject* modules = PyImport_GetModuleDict(); // borrowed
    if (!modules || PyDict_SetItemString(modules, "yumIOC", created.get()) < 0)
        return false;
    module = created.get();
    return true;
}

void YumIOC::release(YumIO* engine)
{
    if (registered == engine)
        registered = nullptr;
}

YumIO* YumIOC::engine()
{
    return registered;
}
