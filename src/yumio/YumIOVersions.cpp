#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIOVersions.h"

#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <vector>

namespace {

// Items of a Python sequence as new references; empty on any failure.
std::vector<PyRef> itemsOf(PyObject* sequence)
{
    std::vector<PyRef> out;
    PyRef iterator = PyRef::steal(sequence ? PyObject_GetIter(sequence) : nullptr);
    while (iterator) {
        PyRef item = PyRef::steal(PyIter_Next(iterator.get()));
        if (!item)
            break;
        out.push_back(std::move(item));
    }
    PyErr_Clear();
    return out;
}

} // namespace

Package::Entry* YumIOVersions::installedOf(Package::Entry* entry)
{
    if (!entry || entry->kind == Package::Group)
        return nullptr;
    if (entry->state == Package::Installed)
        return entry;
    if (entry->state == Package::AvailableForUpdate)
        return entry->next;
    return nullptr;
}

QStringList YumIOVersions::olderVersions(Package::Entry* entry)
{
    QStringList versions;
    Package::Entry* installed = installedOf(entry);
    if (!installed || !yumIO_->scriptObject() || !installed->yumObject)
        return versions;
    Python::PyGILStateWrapper lock(true);
    PyRef found = yumIO_->pyMethodCall(yumIO_->scriptObject(), "olderVersions", "(O)", installed->yumObject.get());
    for (const PyRef& v : itemsOf(found.get()))
        versions << yumIO_->pyStringX(v.get());
    PyErr_Clear();
    return versions;
}

bool YumIOVersions::reinstallable(Package::Entry* entry)
{
    Package::Entry* installed = installedOf(entry);
    if (!installed || !yumIO_->scriptObject() || !installed->yumObject)
        return false;
    Python::PyGILStateWrapper lock(true);
    PyRef answer = yumIO_->pyMethodCall(yumIO_->scriptObject(), "reinstallable", "(O)", installed->yumObject.get());
    const bool yes = answer && PyObject_IsTrue(answer.get()) == 1;
    PyErr_Clear();
    return yes;
}

QVector<YumIOVersions::Transaction> YumIOVersions::transactions()
{
    QVector<Transaction> out;
    if (!yumIO_->scriptObject())
        return out;
    Python::PyGILStateWrapper lock(true);
    PyRef rows = yumIO_->pyMethodCall(yumIO_->scriptObject(), "historyTransactions", "()");
    if (!rows)
        yumIO_->handleException();
    for (const PyRef& row : itemsOf(rows.get())) {
        Transaction t;
        const char* text = nullptr;
        long long time = 0;
        if (!PyArg_ParseTuple(row.get(), "iLsiiii", &t.id, &time, &text, &t.installed, &t.updated, &t.removed,
                              &t.returnCode)) {
            PyErr_Clear();
            continue;
        }
        t.time = time;
        t.commandLine = QString::fromUtf8(text);
        out.append(t);
    }
    return out;
}

QVector<YumIOVersions::Item> YumIOVersions::items(int id)
{
    QVector<Item> out;
    if (!yumIO_->scriptObject())
        return out;
    Python::PyGILStateWrapper lock(true);
    PyRef rows = yumIO_->pyMethodCall(yumIO_->scriptObject(), "historyPackages", "(i)", id);
    if (!rows)
        yumIO_->handleException();
    for (const PyRef& row : itemsOf(rows.get())) {
        const char* fields[5] = {};
        if (!PyArg_ParseTuple(row.get(), "sssss", &fields[0], &fields[1], &fields[2], &fields[3], &fields[4])) {
            PyErr_Clear();
            continue;
        }
        out.append({ QString::fromUtf8(fields[0]), QString::fromUtf8(fields[1]), QString::fromUtf8(fields[2]),
                     QString::fromUtf8(fields[3]), QString::fromUtf8(fields[4]) });
    }
    return out;
}

int YumIOVersions::undo(int id, QStringList& missing)
{
    if (!yumIO_->scriptObject())
        return 0;
    struct Mark {
        QString action;
        QString name;
        QString arch;
        QString verRel;
    };
    QVector<Mark> marks;
    {
        Python::PyGILStateWrapper lock(true);
        PyRef result = yumIO_->pyMethodCall(yumIO_->scriptObject(), "historyUndo", "(i)", id);
        PyObject* markList = nullptr;
        PyObject* missingList = nullptr;
        if (!result || !PyArg_ParseTuple(result.get(), "OO", &markList, &missingList)) {
            yumIO_->handleException();
            return 0;
        }
        for (const PyRef& m : itemsOf(markList)) {
            const char* f[4] = {};
            if (PyArg_ParseTuple(m.get(), "ssss", &f[0], &f[1], &f[2], &f[3]))
                marks.append({ QString::fromUtf8(f[0]), QString::fromUtf8(f[1]), QString::fromUtf8(f[2]),
                               QString::fromUtf8(f[3]) });
            PyErr_Clear();
        }
        for (const PyRef& m : itemsOf(missingList))
            missing << yumIO_->pyStringX(m.get());
    }
    int marked = 0;
    for (const Mark& m : qAsConst(marks)) {
        Package::Entry* entry = yumIO_->findEntry(YumIO::EntryKey(false, m.name, yumIO_->getBiArch(m.arch)));
        if (!entry)
            continue;
        if (m.action == QLatin1String("remove") && installedOf(entry)) {
            entry->action = Package::Remove;
            entry->targetVerRel.clear();
        } else if (m.action == QLatin1String("downgrade") && installedOf(entry)) {
            entry->action = Package::Downgrade;
            entry->targetVerRel = m.verRel;
        } else if (m.action == QLatin1String("update") && entry->state == Package::AvailableForUpdate
                   && entry->verRel == m.verRel) {
            entry->action = Package::Update;
            entry->targetVerRel.clear();
        } else if (m.action == QLatin1String("install") && entry->state == Package::AvailableForInstallation) {
            entry->action = Package::Install;
            // The row shows the newest version; the removed one may be older.
            entry->targetVerRel = m.verRel == entry->verRel ? QString() : m.verRel;
        } else {
            continue;
        }
        ++marked;
    }
    return marked;
}

QStringList YumIOVersions::addPackageFiles(const QStringList& paths)
{
    QStringList problems;
    if (!yumIO_->scriptObject())
        return problems;
    Python::PyGILStateWrapper lock(true);
    PyRef list = PyRef::steal(PyList_New(0));
    for (const QString& path : paths) {
        PyRef text = PyRef::steal(PyUnicode_FromString(path.toUtf8().constData()));
        if (text)
            PyList_Append(list.get(), text.get());
    }
    PyRef result = yumIO_->pyMethodCall(yumIO_->scriptObject(), "addPackageFiles", "(O)", list.get());
    if (!result) {
        yumIO_->handleException();
        problems << QObject::tr("Unable to add package files");
        return problems;
    }
    for (const PyRef& p : itemsOf(result.get()))
        problems << yumIO_->pyStringX(p.get());
    return problems;
}
