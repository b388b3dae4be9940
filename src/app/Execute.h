#pragma once

#include <QtContainerFwd>

class QWidget;

// Starts an external viewer fully detached: it outlives the program, is never waited
// for and leaves no zombie.
class Execute final
{
public:
    // argv[0] is the program's path; argv ends with a null.  Returns at once.
    static void execute(QWidget* parent, char* const* argv);
    // The same with the arguments given as texts (local 8-bit encoded).
    static void execute(QWidget* parent, const QStringList& arguments);
};
