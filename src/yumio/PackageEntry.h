#pragma once

#include "python/PyRef.h"
#include "yumio/Package.h"

#include <QString>

namespace Package {

// One row of the catalogue: a package, a group or a suite.
class Entry final
{
public:
    Entry();
    ~Entry();
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

    Action action = None;
    State state = Installed;
    Kind kind = Ordinary;
    QString name;
    QString verRel;
    QString repo;
    QString arch;
    // The architecture's class, telling apart the two word sizes of one family.
    QString biArch;
    qint64 size = 0;
    QString sizeText;
    QString summary;
    qint64 buildTime = 0;
    QString buildTimeText;
    // The package object, or the group object for groups and suites.  Released only by
    // the clearing operations, which hold the interpreter lock.
    PyRef yumObject;
    bool duplicate = false;
    // Further installed versions of the same name and class; the head owns the chain.
    Entry* next = nullptr;
    Action workAction = None;
    // The entry whose action caused the work action.
    Entry* markedBy = nullptr;
    // rpm began removing or replacing this installed version.
    bool started = false;
    // The version a Downgrade goes to, or an Install that is not of the row's own
    // version (undo); empty otherwise.
    QString targetVerRel;

    // Tests only: whether the "extant python obj" message has been printed, and how
    // many entries exist.
    static bool extantReported();
    static int liveCount();
};

} // namespace Package
