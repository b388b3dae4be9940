// The advisories that the collected updates fix, read from the repositories' update
// information with the catalogue.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "yumio/AdvisoryStore.h"
#include "yumio/PackageEntry.h"

#include <vector>

namespace {

// Fields of a record, in the order the script gives them.
enum RecordField { FieldType, FieldId, FieldTitle, FieldSeverity, FieldIssued, FieldDescription,
                   FieldReferences, RecordFields };

} // namespace

const Advisory::Store& YumIO::advisories() const
{
    static const Advisory::Store none;
    return advisories_ ? *advisories_ : none;
}

bool YumIO::collectAdvisories()
{
    if (!advisories_)
        advisories_ = std::make_shared<Advisory::Store>();
    advisories_->clear();
    // A script without update information support leaves every update without advisories.
    if (PyObject_HasAttrString(yumIO_.get(), "collectAdvisories") != 1) {
        PyErr_Clear();
        return true;
    }
    std::vector<const Package::Entry*> updates;
    for (const Package::Entry* entry : qAsConst(entries_)) {
        if (entry->state == Package::AvailableForUpdate && entry->kind != Package::Group && entry->yumObject)
            updates.push_back(entry);
    }
    PyRef packages = PyRef::steal(PyList_New(Py_ssize_t(updates.size())));
    if (!packages) {
        handleException();
        return false;
    }
    for (size_t at = 0; at < updates.size(); ++at)
        PyList_SET_ITEM(packages.get(), Py_ssize_t(at), updates[at]->yumObject.copy().release());
    PyRef result = pyMethodCall(yumIO_.get(), "collectAdvisories", "(O)", packages.get());
    if (!result)
        return false; // reported by the call
    PyObject* records = nullptr;
    PyObject* fixes = nullptr;
    if (!PyArg_ParseTuple(result.get(), "O!O!", &PyDict_Type, &records, &PyList_Type, &fixes)
        || PyList_GET_SIZE(fixes) != Py_ssize_t(updates.size())) {
        PyErr_Clear();
        error(tr("Internal error: yumIO.collectAdvisories gave no advisories of the updates"));
        return false;
    }
    PyObject* key = nullptr;
    PyObject* value = nullptr;
    Py_ssize_t position = 0;
    while (PyDict_Next(records, &position, &key, &value)) {
        if (!PyTuple_Check(value) || PyTuple_GET_SIZE(value) != RecordFields)
            continue;
        Advisory::Record record;
        record.type = Advisory::Record::typeOf(pyStringX(PyTuple_GET_ITEM(value, FieldType)));
        record.id = pyStringX(PyTuple_GET_ITEM(value, FieldId));
        record.title = simpleText(PyTuple_GET_ITEM(value, FieldTitle));
        record.severity = simpleText(PyTuple_GET_ITEM(value, FieldSeverity));
        record.issued = pyTime(PyTuple_GET_ITEM(value, FieldIssued));
        record.description = simpleText(PyTuple_GET_ITEM(value, FieldDescription)).trimmed();
        PyObject* references = PyTuple_GET_ITEM(value, FieldReferences);
        const Py_ssize_t count = PySequence_Check(references) ? PySequence_Size(references) : 0;
        for (Py_ssize_t at = 0; at < count; ++at) {
            PyRef reference = PyRef::steal(PySequence_GetItem(references, at));
            if (!reference || !PyTuple_Check(reference.get()) || PyTuple_GET_SIZE(reference.get()) != 4)
                continue;
            record.references.append({pyStringX(PyTuple_GET_ITEM(reference.get(), 0)),
                                      pyStringX(PyTuple_GET_ITEM(reference.get(), 1)),
                                      simpleText(PyTuple_GET_ITEM(reference.get(), 2)),
                                      pyStringX(PyTuple_GET_ITEM(reference.get(), 3))});
        }
        PyErr_Clear();
        advisories_->add(std::move(record));
    }
    for (size_t at = 0; at < updates.size(); ++at) {
        PyObject* ids = PyList_GET_ITEM(fixes, Py_ssize_t(at));
        const Py_ssize_t count = PySequence_Check(ids) ? PySequence_Size(ids) : 0;
        Advisory::Store::Fixes found;
        for (Py_ssize_t i = 0; i < count; ++i) {
            PyRef id = PyRef::steal(PySequence_GetItem(ids, i));
            if (const Advisory::Record* record = id ? advisories_->find(pyStringX(id.get())) : nullptr)
                found.append(record);
        }
        PyErr_Clear();
        advisories_->setFixes(updates[at], found);
    }
    return true;
}
