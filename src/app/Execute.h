#pragma once

#include <QtContainerFwd>

class QObject;
class QWidget;

// Starts an external viewer fully detached: it outlives the program, is never waited
// for and leaves no zombie.  A viewer that cannot be started or ends in failure (no
// browser or document viewer installed) is reported in a dialog that names what it was
// to show, so that the user can open it by hand.
class Execute final
{
public:
    // argv[0] is the program's path; argv ends with a null.  Returns at once, with an
    // object that lives until the viewer's outcome is known (and any dialog closed).
    static QObject* execute(QWidget* parent, char* const* argv);
    // The same with the arguments given as texts (local 8-bit encoded).
    static QObject* execute(QWidget* parent, const QStringList& arguments);
};
