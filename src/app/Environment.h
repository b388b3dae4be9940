#pragma once

#include <QString>

// The environment variables that name folders: ORVOROOT, the managed system, and
// ORVOSHARE, the share directory.
class Environment final
{
public:
    // Gives a relative value the folder the program was started in, once, at start-up:
    // the interpreter and the package manager take only absolute paths, and messages
    // then show the full path.  Unset and empty values keep their own meaning.
    static void makePathsAbsolute();
    // Empty when ORVOROOT is unset, empty or a folder; otherwise what is wrong with it.
    static QString rootProblem();
};
