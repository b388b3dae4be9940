// Group actions expanded into actions on the groups' member packages, with the user
// deciding where a member was marked otherwise.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "yumio/PackageEntry.h"
#include "yumio/YumIODialogs.h"

#include <QCoreApplication>
#include <QSet>

namespace {

// Unlike the table's texts, every value that is no real action reads "ERROR" here.
QString groupActionText(int action)
{
    switch (action) {
    case Package::Update:
    case Package::Install:
    case Package::Remove:
        return Package::actionText(action);
    default:
        return QCoreApplication::translate("YumIO", "ERROR");
    }
}

// dict.keys() of the named attribute appended to list; -1 the attribute is missing,
// -2 it has no usable keys.
int appendKeys(PyObject* list, PyObject* group, const char* attribute)
{
    PyRef dict = PyRef::steal(PyObject_GetAttrString(group, attribute));
    if (!dict) {
        PyErr_Clear();
        return -1;
    }
    PyRef keys = PyRef::steal(PyObject_CallMethod(dict.get(), "keys", nullptr));
    PyRef iterator = keys ? PyRef::steal(PyObject_GetIter(keys.get())) : PyRef();
    if (!iterator) {
        PyErr_Clear();
        return -2;
    }
    while (PyRef key = PyRef::steal(PyIter_Next(iterator.get())))
        if (PyList_Append(list, key.get()) < 0) {
            PyErr_Clear();
            return -2;
        }
    if (PyErr_Occurred()) {
        PyErr_Clear();
        return -2;
    }
    return 0;
}

} // namespace

PyObject* YumIO::groupList(const Package::Entry* group, bool all)
{
    PyRef list = PyRef::steal(PyList_New(0));
    if (!list)
        return nullptr;
    static const char* const required[] = { "mandatory_packages", "default_packages" };
    static const char* const others[] = { "optional_packages", "conditional_packages" };
    int status = 0;
    for (const char* attribute : required)
        if (status == 0)
            status = appendKeys(list.get(), group->yumObject.get(), attribute);
    if (all)
        for (const char* attribute : others)
            if (status == 0)
                status = appendKeys(list.get(), group->yumObject.get(), attribute);
    if (status == -1) {
        error(all ? tr("Internal error: group lacks package lists") : tr("Internal error: group lacks required package lists"));
        return nullptr;
    }
    if (status == -2) {
        error(all ? tr("Internal error: group lacks required proper package lists")
                  : tr("Internal error: group lacks required proper required package lists"));
        return nullptr;
    }
    return list.release();
}

PyObject* YumIO::requiredPkgs(const Package::Entry* group)
{
    if (hasDistribGroups())
        return groupList(group, false);
    const QByteArray name = group->name.toUtf8();
    return pyMethodCall(group->yumObject.get(), "requiredPkgs", "(s)", name.constData()).release();
}

PyObject* YumIO::pkgTree(const Package::Entry* group)
{
    if (hasDistribGroups())
        return groupList(group, false);
    const QByteArray name = group->name.toUtf8();
    return pyMethodCall(group->yumObject.get(), "pkgTree", "(s)", name.constData()).release();
}

PyObject* YumIO::allPkgs(const Package::Entry* group)
{
    if (hasDistribGroups())
        return groupList(group, true);
    // The same call as requiredPkgs: a script group is removed by its required members.
    const QByteArray name = group->name.toUtf8();
    return pyMethodCall(group->yumObject.get(), "requiredPkgs", "(s)", name.constData()).release();
}

bool YumIO::applyGroups()
{
    for (Package::Entry* entry : qAsConst(entries_)) {
        if (entry->kind != Package::Group)
            continue;
        bool expanded = true;
        switch (entry->workAction) {
        case Package::Remove:
            expanded = applyGrpRemove(entry);
            break;
        case Package::None:
            break;
        case Package::Install:
            expanded = applyGrpInstall(entry);
            break;
        default:
            expanded = applyGrpUpdate(entry);
            break;
        }
        if (!expanded)
            return false;
    }
    return true;
}

namespace {

// Calls visit with the entry of every member name that the catalogue knows; stops at
// the first false.
template <typename Visit>
bool forEachMember(YumIO& engine, PyObject* names, Visit visit)
{
    PyRef iterator = PyRef::steal(PyObject_GetIter(names));
    if (!iterator) {
        PyErr_Clear();
        return true;
    }
    while (PyRef item = PyRef::steal(PyIter_Next(iterator.get()))) {
        Package::Entry* pkg = engine.findPackage(engine.pyString(item.get()));
        if (pkg && !visit(pkg))
            return false;
    }
    PyErr_Clear();
    return true;
}

} // namespace

bool YumIO::applyGrpUpdate(const Package::Entry* group)
{
    PyRef required = PyRef::steal(requiredPkgs(group));
    if (!required)
        return false;
    PyRef tree = PyRef::steal(pkgTree(group));
    if (!tree)
        return false;
    QSet<QString> requiredNames;
    if (PyRef iterator = PyRef::steal(PyObject_GetIter(required.get()))) {
        while (PyRef item = PyRef::steal(PyIter_Next(iterator.get())))
            requiredNames.insert(pyString(item.get()));
    }
    PyErr_Clear();
    return applyGrpAdd(group, tree.get(), &requiredNames);
}

bool YumIO::applyGrpInstall(const Package::Entry* group)
{
    PyRef tree = PyRef::steal(pkgTree(group));
    if (!tree)
        return false;
    return applyGrpAdd(group, tree.get(), nullptr);
}

// Update and Install differ only in the available members they install: an Update only
// the required ones (required names given), an Install every one (none given).
bool YumIO::applyGrpAdd(const Package::Entry* group, PyObject* members,
                        const QSet<QString>* required)
{
    return forEachMember(*this, members, [&](Package::Entry* pkg) {
        switch (pkg->workAction) {
        case Package::Update:
        case Package::Install:
            applyGrpLogWas(group, pkg);
            return true;
        case Package::None:
            if (pkg->state == Package::AvailableForUpdate) {
                pkg->workAction = Package::Update;
                applyGrpLog(group, pkg);
            } else if (pkg->state == Package::AvailableForInstallation) {
                if (!required || required->contains(pkg->name)) {
                    pkg->workAction = Package::Install;
                    applyGrpLog(group, pkg);
                } else {
                    applyGrpLogNot(group, pkg, Package::Install, tr("the package is optional"));
                }
            }
            return true;
        default:
            return applyGrpConflict(group, pkg);
        }
    });
}

bool YumIO::applyGrpRemove(const Package::Entry* group)
{
    PyRef all = PyRef::steal(allPkgs(group));
    if (!all)
        return false;
    return forEachMember(*this, all.get(), [&](Package::Entry* pkg) {
        switch (pkg->workAction) {
        case Package::Remove:
            applyGrpLog(group, pkg);
            return true;
        case Package::None:
            if (pkg->state != Package::AvailableForInstallation) {
                pkg->workAction = Package::Remove;
                applyGrpLog(group, pkg);
            }
            return true;
        default:
            return applyGrpConflict(group, pkg);
        }
    });
}

bool YumIO::applyGrpConflict(const Package::Entry* group, Package::Entry* pkg)
{
    Package::Action proposed;
    switch (pkg->state) {
    case Package::AvailableForInstallation:
        proposed = Package::Install;
        break;
    case Package::Installed:
        proposed = Package::Remove;
        break;
    case Package::AvailableForUpdate:
        proposed = Package::Update;
        break;
    default:
        error("Internal error: applyGrpConflict unexpected package state\n");
        return false;
    }
    const QString groupText = groupActionText(group->workAction);
    const QString proposedText = groupActionText(proposed);
    const QString currentText = groupActionText(pkg->workAction);
    QString message;
    if (pkg->markedBy == pkg)
        message = tr("Package %1 is included in group %2 which was marked for %3,\n"
                     "so the package would be marked for %4,\n"
                     "but it was marked individually for %5.\n"
                     "How do you wish to proceed?")
                      .arg(pkg->name, group->name, groupText, proposedText, currentText);
    else if (pkg->markedBy)
        message = tr("Package %1 is included in group %2 which was marked for %3,\n"
                     "so the package would be marked for %4,\n"
                     "but it also was part of group %5 and so was marked for %6.\n"
                     "How do you wish to proceed?")
                      .arg(pkg->name, group->name, groupText, proposedText, pkg->markedBy->name, currentText);
    else
        message = tr("Package %1 is included in group %2 which was marked for %3,\n"
                     "so the package would be marked for %4,\n"
                     "but you resolved an earlier conflict by marking it for %5.\n"
                     "How do you wish to proceed?")
                      .arg(pkg->name, group->name, groupText, proposedText, currentText);
    const int answer = dialogs_ ? dialogs_->critical(tr("Apply"), message, proposedText, currentText, tr("Cancel"), 2, 2) : 2;
    if (answer == 2)
        return false;
    if (answer == 0)
        pkg->workAction = proposed;
    // The text has no %2: the action fills %3.
    log(Log::Info, 4,
        tr("Manually resolving conflict: marking package %1 for %3").arg(pkg->name, groupActionText(pkg->workAction)));
    pkg->markedBy = nullptr;
    return true;
}

void YumIO::applyGrpNote(const QString& format, const Package::Entry* group, const Package::Entry* pkg,
                         const QString& last)
{
    log(Log::Info, 4, format.arg(group->name, pkg->name, last));
}

void YumIO::applyGrpLog(const Package::Entry* group, const Package::Entry* pkg)
{
    applyGrpNote(tr("For group %1, marking package %2 for %3"), group, pkg, groupActionText(pkg->workAction));
}

void YumIO::applyGrpLogWas(const Package::Entry* group, const Package::Entry* pkg)
{
    applyGrpNote(tr("For group %1, package %2 already was marked for %3"), group, pkg,
                 groupActionText(pkg->workAction));
}

void YumIO::applyGrpLogNot(const Package::Entry* group, const Package::Entry* pkg, Package::Action action,
                           const QString& reason)
{
    log(Log::Info, 4,
        tr("For group %1, not marking package %2 for %3, becuase %4")
            .arg(group->name, pkg->name, groupActionText(action), reason));
}
