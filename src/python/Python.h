#pragma once

#include <cstdarg>
#include <vector>

struct _object;
typedef _object PyObject;
struct _ts;
typedef _ts PyThreadState;

// Owns the embedded interpreter and calls into it by dotted name.  Every failed
// call with a pending exception goes through handleException(), which tells
// expected exceptions (declared by the caller between pyExceptStart() and
// pyExceptClear()) from errors.  Results typed PyObject* are new references
// owned by the caller, except those of pyLookup() and pyValue(), which are
// borrowed.  All operations except initialize() need the interpreter lock.
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
    PyObject* pyr(const char* expression);
    void pyf(const char* format, ...) __attribute__((format(printf, 2, 3)));
    PyObject* pyrf(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // The modifiable forms may split names in place; the constant forms copy
    // their arguments first.
    PyObject* pyCall(char* name, char* format, ...);
    PyObject* pyCall(const char* name, const char* format, ...);
    PyObject* pyVCall(char* name, char* format, va_list args);
    PyObject* pyVCall(const char* name, const char* format, va_list args);
    PyObject* pyMethodCall(PyObject* self, char* method, char* format, ...);
    PyObject* pyMethodCall(PyObject* self, const char* method, const char* format, ...);
    PyObject* pyVMethodCall(PyObject* self, char* method, char* format, va_list args);
    PyObject* pyVMethodCall(PyObject* self, const char* method, const char* format,
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
    PyObject* pyExceptValue();
    PyObject* pyExceptValuef();

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
    PyObject* callObject(PyObject* callable, const char* format, va_list args);

    // Borrowed exception types, one list per open bracket.
    std::vector<std::vector<PyObject*>> expected;
    bool startedInterpreter = false;
};
