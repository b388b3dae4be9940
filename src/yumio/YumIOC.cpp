#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIOC.h"

#include "python/PyRef.h"
#include "yumio/YumIO.h"

namespace {

YumIO* registered = nullptr;
PyObject* module = nullptr; // kept for the life of the interpreter by sys.modules

// Each callback is a thin function that forwards to the engine's method of the same name.
#define YUMIOC_FORWARD(name, flags, format)                                                        \
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

YUMIOC_CONTRACT(YUMIOC_FORWARD)
#undef YUMIOC_FORWARD

#define YUMIOC_METHOD(name, flags, format) { #name, name, flags, nullptr },
PyMethodDef methods[] = {
    YUMIOC_CONTRACT(YUMIOC_METHOD){ nullptr, nullptr, 0, nullptr },
};
#undef YUMIOC_METHOD

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

const std::vector<YumIOC::Callback>& YumIOC::callbacks()
{
#define YUMIOC_ENTRY(name, flags, format) { #name, flags == METH_VARARGS, format },
    static const std::vector<Callback> table = { YUMIOC_CONTRACT(YUMIOC_ENTRY) };
#undef YUMIOC_ENTRY
    return table;
}
