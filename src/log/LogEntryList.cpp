#include "log/LogEntryList.h"

#include <QRegularExpression>
#include <QStringList>

namespace Log {

EntryList::EntryList(QObject* parent)
    : QObject(parent)
{
}

void EntryList::record(Kind kind, unsigned int level, const QString& text)
{
    QString copy = text;
    // yum appends "[Errno N] ..." to the failing URL or file name; give it a line of
    // its own.  One expression per thread, since any thread may record.
    if (copy.contains(QLatin1String("[Errno "))) {
        thread_local const QRegularExpression errno_(QStringLiteral(": (\\[Errno [0-9]*\\] )"));
        copy.replace(errno_, QStringLiteral(":\n\\1"));
    }
    const QStringList lines = copy.split(QLatin1Char('\n'), Qt::KeepEmptyParts);
    appendLines(kind, level, lines, lines.size());
    Q_EMIT appended();
}

void EntryList::recordFragment(const QString& fragment, Kind kind, unsigned int level,
                               QString& rest)
{
    rest += fragment;
    const QStringList lines = rest.split(QLatin1Char('\n'), Qt::KeepEmptyParts);
    if (lines.size() > 1) {
        appendLines(kind, level, lines, lines.size() - 1);
        Q_EMIT appended();
    }
    rest = lines.last();
}

void EntryList::appendLines(Kind kind, unsigned int level, const QStringList& lines, int count)
{
    lock();
    for (int i = 0; i < count; ++i)
        append(Entry(kind, level, lines.at(i)));
    unlock();
}

} // namespace Log
