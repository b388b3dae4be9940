#pragma once

class QString;

// Runs every case of the QtTest program (every row of a data-driven one) in a child
// process of its own, for cases that each need an interpreter life, or a system, of
// their own.  Returns the exit code for main.
int runEachCaseAlone(const QString& program);
