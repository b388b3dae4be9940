#pragma once

#include "log/LogEntry.h"

#include <QList>
#include <QMutex>
#include <QObject>

namespace Log {

// The log of the whole program.  The list is its own lock: writers and readers call
// lock() and unlock() on it.  Entries are only ever appended, so an index stays valid
// and a reader can remember how far it has read.  The mutex is not recursive: never
// record while holding it.
class EntryList final : public QObject, public QList<Entry>, public QMutex
{
    Q_OBJECT
    Q_DISABLE_COPY(EntryList)

public:
    explicit EntryList(QObject* parent = nullptr);

    // Records a message of any number of lines, one entry per line, then emits
    // appended() once.
    void record(Kind kind, unsigned int level, const QString& text);

    // Records a piece of a character stream.  rest holds the unfinished last line
    // between calls; a fragment without a line end is held back in it until a later
    // fragment completes the line.  Emits appended() only when lines were recorded.
    void recordFragment(const QString& fragment, Kind kind, unsigned int level, QString& rest);

    void emitAppended() { Q_EMIT appended(); }

Q_SIGNALS:
    // Sent by the appending thread after it has released the lock; one signal may
    // stand for many entries.
    void appended();

private:
    void appendLines(Kind kind, unsigned int level, const QStringList& lines, int count);
};

} // namespace Log
