#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "python/Python.h"

#include "python/PyRef.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

bool Python::initialized = false;
PyObject* Python::main_dict = nullptr;

namespace {

constexpr int MessageSize = 1024;
constexpr int CodeSize = 10240;

// Set by the interrupt handler while script code runs on a worker.  The handler is
// switched at the process level: the signal module refuses to change handlers from
// any thread but the one that started the interpreter.
std::atomic<bool> interruptPending { false };

void noteInterrupt(int)
{
    interruptPending.store(true);
}

// A modifiable copy of a constant argument (null stays null).
class Writable
{
public:
    explicit Writable(const char* text) : isNull(text == nullptr), buffer(text ? text : "") {}
    char* get() { return isNull ? nullptr : buffer.data(); }

private:
    bool isNull;
    std::string buffer;
};

} // namespace

Python::Python() = default;

bool Python::startInterpreter()
{
    // The package manager's modules are installed for the interpreter found at build
    // time only.  Left to itself the interpreter would take its prefix from the first
    // python3 on PATH (a virtual environment, conda, pyenv) or from PYTHONHOME and
    // PYTHONPATH, and lose dnf and rpm; so it is told where it lives and reads no
    // PYTHON* variable.  ORVOPYTHONPATH adds folders in front of the module path.
    PyConfig config;
    PyConfig_InitPythonConfig(&config);
    config.use_environment = 0;
    config.user_site_directory = 0;
    config.parse_argv = 0;
    bool ok = !PyStatus_Exception(PyConfig_SetBytesString(&config, &config.program_name, ORVO_PYTHON_EXECUTABLE))
        && !PyStatus_Exception(PyConfig_SetBytesString(&config, &config.executable, ORVO_PYTHON_EXECUTABLE))
        && !PyStatus_Exception(PyConfig_SetBytesString(&config, &config.home, ORVO_PYTHON_HOME))
        && !PyStatus_Exception(Py_InitializeFromConfig(&config));
    PyConfig_Clear(&config);
    if (!ok) {
        initialized = false;
        startedInterpreter = false;
        error("Internal error: cannot start the python interpreter " ORVO_PYTHON_EXECUTABLE "\n");
        return false;
    }
    const char* extra = std::getenv("ORVOPYTHONPATH");
    PyObject* path = PySys_GetObject("path"); // borrowed
    if (!extra || !path)
        return true;
    const std::string list(extra);
    Py_ssize_t at = 0;
    for (size_t start = 0; start <= list.size();) {
        const size_t end = std::min(list.find(':', start), list.size());
        if (end > start) {
            PyRef folder = PyRef::steal(PyUnicode_DecodeFSDefault(list.substr(start, end - start).c_str()));
            if (folder && PyList_Insert(path, at, folder.get()) == 0)
                ++at;
        }
        start = end + 1;
    }
    PyErr_Clear();
    return ok;
}

Python::~Python()
{
    if (!startedInterpreter || !initialized)
        return;
    // The lock is never given back: there is no interpreter left to give it to.
    PyGILState_Ensure();
    Py_FinalizeEx();
    initialized = false;
    main_dict = nullptr;
}

bool Python::initialize()
{
    if (initialized)
        return true;
    initialized = true;
    startedInterpreter = true;
    // With its signal handlers; defaultSigIntSigaction keeps its interrupt handler
    // for the scripts.
    if (!startInterpreter())
        return false;
    PyGILStateWrapper lock(true);

    PyRun_SimpleString("import signal\n"
                       "defaultSigIntSigaction = signal.getsignal(signal.SIGINT)");

    PyRef mainModule = PyRef::steal(PyImport_ImportModule("__main__"));
    if (!mainModule) {
        PyErr_Clear();
        error("Internal error: cannot find python __main__ module\n");
        return false;
    }
    // Borrowed; sys.modules keeps __main__ alive.
    main_dict = PyModule_GetDict(mainModule.get());
    if (!main_dict) {
        error("Internal error: cannot find python __main__ dict\n");
        return false;
    }
    return true;
}

bool Python::ready()
{
    if (main_dict)
        return true;
    error("Internal error: python is not initialized\n");
    return false;
}

void Python::py(const char* code)
{
    if (!ready())
        return;
    // Not PyRun_SimpleString: that prints and swallows the exception (and ends
    // the process on SystemExit) instead of letting handleException see it.
    PyRef result = PyRef::steal(PyRun_String(code, Py_file_input, main_dict, main_dict));
    if (!result && PyErr_Occurred())
        handleException();
}

PyRef Python::pyr(const char* expression)
{
    if (!ready())
        return PyRef();
    PyRef result = PyRef::steal(PyRun_String(expression, Py_eval_input, main_dict, main_dict));
    if (!result && PyErr_Occurred())
        handleException();
    return result;
}

void Python::pyf(const char* format, ...)
{
    char code[CodeSize];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(code, sizeof code, format, args);
    va_end(args);
    if (length < 0 || length >= CodeSize) {
        error("Internal error: python statement too long\n");
        return;
    }
    py(code);
}

PyRef Python::pyrf(const char* format, ...)
{
    char code[CodeSize];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(code, sizeof code, format, args);
    va_end(args);
    if (length < 0 || length >= CodeSize) {
        error("Internal error: python expression too long\n");
        return PyRef();
    }
    return pyr(code);
}

PyRef Python::pyCall(char* name, char* format, ...)
{
    va_list args;
    va_start(args, format);
    PyRef result = pyVCall(name, format, args);
    va_end(args);
    return result;
}

PyRef Python::pyCall(const char* name, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    PyRef result = pyVCall(name, format, args);
    va_end(args);
    return result;
}

PyRef Python::pyVCall(const char* name, const char* format, va_list args)
{
    Writable writableName(name);
    Writable writableFormat(format);
    return pyVCall(writableName.get(), writableFormat.get(), args);
}

PyRef Python::pyVCall(char* name, char* format, va_list args)
{
    char message[MessageSize];
    PyObject* function = pyLookup(name, false);
    if (!function) {
        std::snprintf(message, sizeof message, "Internal error: %s not found\n", name);
        error(message);
        return PyRef();
    }
    if (!PyCallable_Check(function)) {
        std::snprintf(message, sizeof message, "Internal error: %s not callable\n", name);
        error(message);
        return PyRef();
    }
    // The lookup result is borrowed; the call may remove it from its dictionary.
    PyRef keep = PyRef::borrow(function);
    return callObject(function, format, args);
}

PyRef Python::pyMethodCall(PyObject* self, char* method, char* format, ...)
{
    va_list args;
    va_start(args, format);
    PyRef result = pyVMethodCall(self, method, format, args);
    va_end(args);
    return result;
}

PyRef Python::pyMethodCall(PyObject* self, const char* method, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    PyRef result = pyVMethodCall(self, method, format, args);
    va_end(args);
    return result;
}

PyRef Python::pyVMethodCall(PyObject* self, const char* method, const char* format,
                                va_list args)
{
    Writable writableMethod(method);
    Writable writableFormat(format);
    return pyVMethodCall(self, writableMethod.get(), writableFormat.get(), args);
}

PyRef Python::pyVMethodCall(PyObject* self, char* method, char* format, va_list args)
{
    char message[MessageSize];
    if (!self) {
        std::snprintf(message, sizeof message,
                      "Internal error: method %s call attemped with NULL self\n", method);
        error(message);
        return PyRef();
    }
    PyRef function = PyRef::steal(PyObject_GetAttrString(self, method));
    if (!function) {
        PyErr_Clear();
        std::snprintf(message, sizeof message, "Internal error: method %s not found\n", method);
        error(message);
        return PyRef();
    }
    if (!PyCallable_Check(function.get())) {
        std::snprintf(message, sizeof message, "Internal error: method %s not callable\n",
                      method);
        error(message);
        return PyRef();
    }
    return callObject(function.get(), format, args);
}

PyRef Python::callObject(PyObject* callable, const char* format, va_list args)
{
    PyRef arguments = PyRef::steal(format && *format ? Py_VaBuildValue(format, args)
                                                     : PyTuple_New(0));
    if (!arguments) {
        if (PyErr_Occurred())
            handleException();
        return PyRef();
    }
    // An unparenthesised format builds the single argument itself.
    if (!PyTuple_Check(arguments.get())) {
        arguments = PyRef::steal(PyTuple_Pack(1, arguments.get()));
        if (!arguments) {
            handleException();
            return PyRef();
        }
    }
    PyRef result = PyRef::steal(PyObject_Call(callable, arguments.get(), nullptr));
    if (!result && PyErr_Occurred())
        handleException();
    return result;
}

PyObject* Python::pyLookup(const char* name, bool quiet)
{
    Writable writableName(name);
    return pyLookup(writableName.get(), quiet);
}

PyObject* Python::pyLookup(char* name, bool quiet)
{
    if (!ready())
        return nullptr;
    char message[MessageSize];
    if (!name) {
        if (!quiet)
            error("Internal error: (null) not found\n");
        return nullptr;
    }

    // The name is split in place, one component at a time; every dot is put
    // back before returning.
    char* component = name;
    char* dot = std::strchr(component, '.');
    auto fail = [&](const char* format, const char* what) -> PyObject* {
        if (!quiet) {
            std::snprintf(message, sizeof message, format, what);
            error(message);
        }
        if (dot)
            *dot = '.';
        return nullptr;
    };
    if (dot)
        *dot = '\0';

    PyRef imported; // keeps a freshly imported first component alive during the walk
    PyObject* current = PyDict_GetItemString(main_dict, component);
    if (!current) {
        imported = PyRef::steal(PyImport_ImportModule(component));
        if (!imported) {
            PyErr_Clear();
            return fail("Internal error: %s not found\n", component);
        }
        current = imported.get();
    }

    while (dot) {
        const char* owner = component;
        PyObject* dictionary = current;
        if (PyModule_Check(current)) {
            dictionary = PyModule_GetDict(current);
            if (!dictionary)
                return fail("Internal error: module %s lacks dictionary\n", owner);
        }
        *dot = '.';
        component = dot + 1;
        dot = std::strchr(component, '.');
        if (dot)
            *dot = '\0';
        // Dictionary keys only, never attributes: a dotted name reaches through
        // modules and dictionaries and nothing else.
        current = PyDict_Check(dictionary) ? PyDict_GetItemString(dictionary, component)
                                           : nullptr;
        if (!current)
            return fail("Internal error: %s not found\n", component);
    }
    return current;
}

PyObject* Python::pyValue(const char* module, const char* name)
{
    Writable writableModule(module);
    Writable writableName(name);
    return pyValue(writableModule.get(), writableName.get());
}

PyObject* Python::pyValue(char* module, char* name)
{
    PyObject* container = pyLookup(module, false);
    if (!container)
        return nullptr;
    PyObject* dictionary = container;
    if (PyModule_Check(container)) {
        dictionary = PyModule_GetDict(container);
        if (!dictionary) {
            char message[MessageSize];
            std::snprintf(message, sizeof message,
                          "Internal error: module %s lacks dictionary\n", module);
            error(message);
            return nullptr;
        }
    }
    PyRef key = PyRef::steal(PyUnicode_FromString(name ? name : ""));
    PyObject* value = key ? PyDict_GetItemWithError(dictionary, key.get()) : nullptr;
    if (!value && PyErr_Occurred())
        handleException();
    return value;
}

void Python::pyAssign(const char* module, const char* name, PyObject* value)
{
    Writable writableModule(module);
    Writable writableName(name);
    pyAssign(writableModule.get(), writableName.get(), value);
}

void Python::pyAssign(char* module, char* name, PyObject* value)
{
    char message[MessageSize];
    PyObject* container = pyLookup(module, false);
    if (!container)
        return;
    PyObject* dictionary = container;
    if (PyModule_Check(container)) {
        dictionary = PyModule_GetDict(container);
        if (!dictionary) {
            std::snprintf(message, sizeof message,
                          "Internal error: module %s lacks dictionary\n", module);
            error(message);
            return;
        }
    }
    if (name && value && PyDict_SetItemString(dictionary, name, value) == 0)
        return;
    if (PyErr_Occurred()) {
        handleException();
        return;
    }
    std::snprintf(message, sizeof message, "Internal error: cannot assign %s.%s\n", module,
                  name ? name : "(null)");
    error(message);
}

int Python::pyAssignGlobal(const char* name, PyObject* value)
{
    Writable writableName(name);
    return pyAssignGlobal(writableName.get(), value);
}

int Python::pyAssignGlobal(char* name, PyObject* value)
{
    if (!ready())
        return -1;
    if (!name || !value) {
        char message[MessageSize];
        std::snprintf(message, sizeof message, "Internal error: cannot assign __main__.%s\n",
                      name ? name : "(null)");
        error(message);
        return -1;
    }
    const int status = PyDict_SetItemString(main_dict, name, value);
    if (status != 0 && PyErr_Occurred())
        handleException();
    return status;
}

long Python::pyVersion()
{
    PyObject* hexversion = PySys_GetObject("hexversion"); // borrowed
    if (!hexversion)
        return 0;
    const long version = PyLong_AsLong(hexversion);
    if (version == -1 && PyErr_Occurred()) {
        handleException();
        return 0;
    }
    return version;
}

const char* Python::pyString(PyObject* object)
{
    if (!object) {
        error("Internal error: pyString passed NULL python object\n");
        return nullptr;
    }
    if (object == Py_None)
        return nullptr;
    const char* text = PyBytes_Check(object) ? PyBytes_AsString(object)
                                             : PyUnicode_AsUTF8(object);
    if (!text && PyErr_Occurred())
        handleException();
    return text;
}

void Python::pyDebug(PyObject* object)
{
    PyErr_Clear();
    pyAssignGlobal("dbg", object);
    py("import sys\n"
       "sys.stdout = sys.__stdout__\n"
       "sys.stderr = sys.__stderr__\n"
       "import pdb\n"
       "pdb.set_trace()");
    PyErr_Clear();
}

void Python::setEnablePythonSIGINTHandler(bool enable)
{
    // The interpreter acts on its own handler only on the thread that started it, never
    // on the worker that runs script code: the interrupt is noted instead and raised on
    // the worker by raiseInterrupt(), which the script's frequent callbacks call.  One
    // that no callback saw by the end of the operation came too late to stop it.
    interruptPending.store(false);
    PyOS_setsig(SIGINT, enable ? noteInterrupt : SIG_DFL);
}

void Python::requestInterrupt()
{
    interruptPending.store(true);
}

bool Python::raiseInterrupt()
{
    if (!interruptPending.exchange(false))
        return false;
    PyErr_SetNone(PyExc_KeyboardInterrupt);
    return true;
}

PyRef Python::pyExceptValue()
{
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    if (!type)
        return PyRef();
    // Normalising may call into the interpreter, which must not happen while an
    // exception is pending; the normalised exception is the same exception.
    PyErr_NormalizeException(&type, &value, &traceback);
    PyRef result = PyRef::borrow(value);
    PyErr_Restore(type, value, traceback);
    return result;
}

PyRef Python::pyExceptValuef()
{
    PyRef value = pyExceptValue();
    if (!value)
        return PyRef();
    PyObject* type = nullptr;
    PyObject* pendingValue = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &pendingValue, &traceback);

    PyRef printable;
    if (PyObject_HasAttrString(value.get(), "value"))
        printable = PyRef::steal(PyObject_GetAttrString(value.get(), "value"));
    else
        printable = pyCall("builtins.str", "(O)", value.get());

    PyErr_Restore(type, pendingValue, traceback);
    return printable;
}

void Python::pyExceptStart()
{
    expected.emplace_back();
}

void Python::pyExceptExpect(PyObject* type)
{
    if (!type)
        error("Internal error: pyExceptExpect called with NULL\n");
    if (expected.empty())
        expected.emplace_back();
    expected.back().push_back(type);
}

void Python::pyExceptClear()
{
    if (!expected.empty())
        expected.pop_back();
    PyErr_Clear();
}

bool Python::pyExceptMatches(PyObject* result, PyObject* type)
{
    return !result && type && PyErr_Occurred() && PyErr_ExceptionMatches(type);
}

void Python::handleException()
{
    if (!expected.empty()) {
        for (PyObject* type : expected.back()) {
            if (type && PyErr_ExceptionMatches(type)) {
                exceptionExpected();
                return;
            }
        }
    }
    exceptionError();
}

void Python::exceptionExpected()
{
}

void Python::exceptionError()
{
    PyObject* rawType = nullptr;
    PyObject* rawValue = nullptr;
    PyObject* rawTraceback = nullptr;
    PyErr_Fetch(&rawType, &rawValue, &rawTraceback);
    if (!rawType) {
        Py_XDECREF(rawValue);
        Py_XDECREF(rawTraceback);
        PyErr_Clear();
        error("Internal error: python exception occurred, but exception information was "
              "empty.");
        return;
    }
    PyErr_NormalizeException(&rawType, &rawValue, &rawTraceback);
    PyRef type = PyRef::steal(rawType);
    PyRef value = PyRef::steal(rawValue);
    PyRef traceback = PyRef::steal(rawTraceback);
    if (value && traceback)
        PyException_SetTraceback(value.get(), traceback.get());
    // Not PyErr_Print: it would end the process on SystemExit.
    PyErr_Display(type.get(), value.get(), traceback.get());
    PyErr_Clear();
    error("Internal error: python exception occurred from C code.\n"
          "When reporting this issue, please include the contents of the\n"
          "Log window, which should contain a walkback.");
}

Python::PyGILStateWrapper::PyGILStateWrapper(bool really) : really(really)
{
    ensure();
}

Python::PyGILStateWrapper::~PyGILStateWrapper()
{
    release();
}

void Python::PyGILStateWrapper::ensure()
{
    if (!really || held)
        return;
    state = PyGILState_Ensure();
    held = true;
}

void Python::PyGILStateWrapper::release()
{
    if (!held)
        return;
    PyGILState_Release(static_cast<PyGILState_STATE>(state));
    held = false;
}

Python::PyThreadStateWrapper::PyThreadStateWrapper()
{
    save();
}

Python::PyThreadStateWrapper::~PyThreadStateWrapper()
{
    restore();
}

void Python::PyThreadStateWrapper::save()
{
    if (!state)
        state = PyEval_SaveThread();
}

void Python::PyThreadStateWrapper::restore()
{
    if (!state)
        return;
    PyEval_RestoreThread(state);
    state = nullptr;
}
