#pragma once

#include <QList>
#include <QString>

class QWidget;

// Whether this process may change the managed system: take the package manager's lock
// and write the package configuration.  Asked once at start, so that a user without
// administrator rights learns it from one dialog instead of from failures later.
class Privileges final
{
public:
    enum class Right { Lock, Configuration };

    // One place that this process cannot write (or, when absent, cannot create).
    struct Lack {
        Right right;
        QString path; // full path in this program's file system
        bool operator==(const Lack& other) const
        {
            return right == other.right && path == other.path;
        }
    };

    // What is missing for the system at root, in the order checked; empty when nothing is.
    static QList<Lack> missing(const QString& root);
    // The dialog's text for a non-empty list.
    static QString message(const QList<Lack>& lacks, const QString& program);
    // For the managed system ($ORVOROOT): true when nothing is missing; otherwise shows
    // the dialog and returns false, and the program ends.
    static bool check(QWidget* parent);
};
