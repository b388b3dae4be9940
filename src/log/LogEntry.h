#pragma once

#include <QString>

namespace Log {

// The log window switches on these numbers: keep their values.
enum Kind {
    Info = 0,
    Output = 1,
    Warning = 2,
    Error = 3,
    Heading = 4
};

// One line of the log, without its line end.
class Entry final
{
public:
    Entry(Kind kind, unsigned int level, const QString& text);

    Kind kind;
    // 0 is the most important; higher numbers are more detailed (yum's debug levels).
    unsigned int level;
    QString text;
};

} // namespace Log
