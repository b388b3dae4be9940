#include "log/LogEntry.h"

namespace Log {

Entry::Entry(Kind kind, unsigned int level, const QString& text)
    : kind(kind)
    , level(level)
    , text(text)
{
}

} // namespace Log
