#pragma once

struct _object;
typedef _object PyObject;

// Owns one reference to an interpreter object and gives it back when it goes
// out of scope, so that every return path releases what it took.  Destroying,
// resetting or assigning a non-empty handle needs the interpreter lock.
class PyRef final
{
public:
    PyRef() noexcept = default;
    PyRef(PyRef&& other) noexcept;
    PyRef& operator=(PyRef&& other) noexcept;
    PyRef(const PyRef&) = delete;
    PyRef& operator=(const PyRef&) = delete;
    ~PyRef();

    // Takes over a new reference (null is allowed and gives an empty handle).
    static PyRef steal(PyObject* object) noexcept;
    // Adds a reference of its own to a borrowed object.
    static PyRef borrow(PyObject* object) noexcept;

    PyObject* get() const noexcept { return object; }
    // Gives up ownership without releasing; the caller now owns the reference.
    PyObject* release() noexcept;
    // Releases the held reference and takes over a new one.
    void reset(PyObject* newReference = nullptr) noexcept;
    // A second owning handle to the same object.
    PyRef copy() const noexcept { return borrow(object); }

    explicit operator bool() const noexcept { return object != nullptr; }

private:
    explicit PyRef(PyObject* newReference) noexcept : object(newReference) {}

    PyObject* object = nullptr;
};
