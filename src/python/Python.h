#pragma once

#include "python/PyRef.h"

#include <cstdarg>
#include <vector>

struct _object;
typedef _object PyObject;
struct _ts;
typedef _ts PyThreadState;

// Owns the embedded interpreter and calls into it by dotted name.  Every failed
// call with a pending exception goes through handleException(), which tells
// expected exceptions (declared by the caller between pyExceptStart() and
// pyExceptClear()) from errors.  Calls and evaluations return owning handles;
// pyLookup() and pyValue() return borrowed references.  All operations except initialize() need the interpreter lock.
class Python
{
public:
    // Holds the interpreter lock for the calling thread while it lives.
    class PyGILStateWrapper final
    {
    public:
        explicit PyGILStateWrapper(bool really = true);
        ~PyGILStateWrapper();
        PyGILStateWrapper(const PyGILStateWrapper&) = delete;
        PyGILStateWrapper& operator=(const PyGILStateWrapper&) = delete;

        // Both do nothing on a wrapper constructed with false.
        void ensure();
        void release();

    private:
        bool really;
        bool held = false;
        int state = 0; // PyGILState_STATE
    };

    // Gives the interpreter lock up while it lives (the calling thread must
    // hold it), so that other threads can run interpreter code.
    class PyThreadStateWrapper final
    {
    public:
        PyThreadStateWrapper();
        ~PyThreadStateWrapper();
        PyThreadStateWrapper(const PyThreadStateWrapper&) = delete;
        PyThreadStateWrapper& operator=(const PyThreadStateWrapper&) = delete;

        void save();
        void restore();

    private:
        PyThreadState* state = nullptr;
    };

    Python();
    virtual ~Python();
    Python(const Python&) = delete;
    Python& operator=(const Python&) = delete;

    bool initialize();

    void py(const char* code);
    PyRef pyr(const char* expression);
    void pyf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    PyRef pyrf(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // The modifiable forms may split names in place; the constant forms copy
    // their arguments first.
    PyRef pyCall(char* name, char* format, ...);
    PyRef pyCall(const char* name, const char* format, ...);
    PyRef pyVCall(char* name, char* format, va_list args);
    PyRef pyVCall(const char* name, const char* format, va_list args);
    PyRef pyMethodCall(PyObject* self, char* method, char* format, ...);
    PyRef pyMethodCall(PyObject* self, const char* method, const char* format, ...);
    PyRef pyVMethodCall(PyObject* self, char* method, char* format, va_list args);
    PyRef pyVMethodCall(PyObject* self, const char* method, const char* format,
                            va_list args);
    PyObject* pyLookup(char* name, bool quiet = false);
    PyObject* pyLookup(const char* name, bool quiet = false);
    PyObject* pyValue(char* module, char* name);
    PyObject* pyValue(const char* module, const char* name);
    void pyAssign(char* module, char* name, PyObject* value);
    void pyAssign(const char* module, const char* name, PyObject* value);
    int pyAssignGlobal(char* name, PyObject* value);
    int pyAssignGlobal(const char* name, PyObject* value);

    long pyVersion();
    const char* pyString(PyObject* object);
    void pyDebug(PyObject* object);
    // While enabled, SIGINT is noted rather than ending the process.
    void setEnablePythonSIGINTHandler(bool enable);
    // Turns a noted interrupt into a pending KeyboardInterrupt on the calling thread;
    // true when it did.  Needs the interpreter lock.
    static bool raiseInterrupt();
    // As a SIGINT would: the worker's next callback raises KeyboardInterrupt.
    static void requestInterrupt();
    PyRef pyExceptValue();
    PyRef pyExceptValuef();

    virtual void pyExceptStart();
    virtual void pyExceptExpect(PyObject* type);
    virtual void pyExceptClear();
    virtual bool pyExceptMatches(PyObject* result, PyObject* type);
    virtual void error(const char* message) = 0;
    virtual void warning(const char* message) = 0;
    virtual void handleException();
    virtual void exceptionExpected();
    virtual void exceptionError();

    static bool initialized;
    static PyObject* main_dict; // borrowed: __main__'s namespace

private:
    bool ready();
    bool startInterpreter();
    PyRef callObject(PyObject* callable, const char* format, va_list args);

    // Borrowed exception types, one list per open bracket.
    std::vector<std::vector<PyObject*>> expected;
    bool startedInterpreter = false;
};
