#include "repo/RepoFileText.h"

#include "repo/YumConfIO.h"

#include <QHash>
#include <QStringDecoder>

#include <algorithm>

namespace Repo {

namespace {

// As YumConfIO reads a line: UTF-8 when it is valid, else byte for byte.
QString decoded(const QByteArray& bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    return utf8.hasError() ? QString::fromLatin1(bytes) : text;
}

bool blank(const QByteArray& line)
{
    return line.trimmed().isEmpty();
}

bool continues(const QByteArray& line)
{
    return (line.startsWith(' ') || line.startsWith('\t')) && !blank(line);
}

bool comment(const QByteArray& line)
{
    return line.startsWith('#') || line.startsWith(';');
}

QList<QByteArray> optionLines(const char* key, const QString& value)
{
    QString text = QLatin1String(key) + QLatin1Char('=') + value;
    // Each further URL on an indented line of its own, as a new section is written.
    text.replace(QLatin1Char('\n'), QLatin1String("\n        "));
    return text.toLocal8Bit().split('\n');
}

QList<QByteArray> triStateLines(const char* key, TriState value)
{
    if (value == Default)
        return {};
    return {QByteArray(key) + (value == Yes ? "=1" : "=0")};
}

QList<QByteArray> textLines(const QString& value, const char* key)
{
    return value.isEmpty() ? QList<QByteArray>() : optionLines(key, value);
}

} // namespace

struct FileText::Edits {
    // A line replaced by these lines (none: removed).
    QHash<int, QList<QByteArray>> replace;
    QHash<int, QList<QByteArray>> before;
    QHash<int, QList<QByteArray>> after;
};

FileText::FileText(const QByteArray& text, bool mainFile)
{
    lines_ = text.split('\n');
    lastHasNewline_ = text.isEmpty() || text.endsWith('\n');
    if (text.isEmpty() || text.endsWith('\n'))
        lines_.removeLast();
    const int count = int(lines_.size());

    // Logical lines: a line and the indented lines that continue it.
    QList<Range> logical;
    for (int i = 0; i < count;) {
        int j = i + 1;
        if (!blank(lines_.at(i))) {
            while (j < count && continues(lines_.at(j)))
                ++j;
        }
        logical.append({i, j});
        i = j;
    }
    const auto joined = [this](const Range& range) {
        QStringList parts;
        for (int i = range.begin; i < range.end; ++i)
            parts.append(decoded(lines_.at(i)));
        return parts.join(QLatin1Char('\n'));
    };

    preambleEnd_ = count;
    for (const Range& range : qAsConst(logical)) {
        const QString line = joined(range);
        const bool header = line.startsWith(QLatin1Char('['));
        if (header && !(mainFile && blocks_.isEmpty() && line == QLatin1String("[main]"))) {
            Section section;
            section.header = section.begin = section.lastOption = range.begin;
            section.repository = line != QLatin1String("[main]");
            const int floor = blocks_.isEmpty() ? 0 : blocks_.last().header + 1;
            while (section.begin > floor && comment(lines_.at(section.begin - 1)))
                --section.begin;
            if (blocks_.isEmpty())
                preambleEnd_ = section.begin;
            else
                blocks_.last().end = section.begin;
            section.end = count;
            if (section.repository)
                sections_.append(int(blocks_.size()));
            blocks_.append(section);
            continue;
        }
        if (blocks_.isEmpty() || !blocks_.last().repository || blank(lines_.at(range.begin)))
            continue;
        Section& section = blocks_.last();
        static const char* const keys[KeyCount] = {"name", "baseurl", "mirrorlist", "enabled", "gpgcheck"};
        QString value;
        int key = 0;
        while (key < KeyCount && !YumConfIO::isOption(line, QLatin1String(keys[key]), value))
            ++key;
        if (key < KeyCount) {
            section.keys[key] = range;
        } else {
            for (int i = range.begin; i < range.end; ++i)
                section.other.append(i);
        }
        if (!comment(lines_.at(range.begin)))
            section.lastOption = range.end - 1;
    }
}

void FileText::patch(const Section& section, const Entry& read, const Entry& now, Edits& edits) const
{
    if (read.id != now.id)
        edits.replace.insert(section.header, {'[' + now.id.toLocal8Bit() + ']'});
    QList<QByteArray> added;
    const auto option = [&](Key key, bool changed, const QList<QByteArray>& lines) {
        if (!changed)
            return;
        const Range& range = section.keys[key];
        if (range.begin < 0) {
            added += lines;
            return;
        }
        edits.replace.insert(range.begin, lines);
        for (int i = range.begin + 1; i < range.end; ++i)
            edits.replace.insert(i, {});
    };
    option(Name, read.name != now.name, textLines(now.name, "name"));
    option(Baseurl, read.baseurl != now.baseurl, textLines(now.baseurl, "baseurl"));
    option(Mirrorlist, read.mirrorlist != now.mirrorlist, textLines(now.mirrorlist, "mirrorlist"));
    option(Enabled, read.enabled != now.enabled, triStateLines("enabled", now.enabled));
    option(Gpgcheck, read.gpgcheck != now.gpgcheck, triStateLines("gpgcheck", now.gpgcheck));

    if (read.otherOptions != now.otherOptions) {
        // The lines both share at the start and at the end stay where they are; those
        // between are replaced in place.
        QStringList old;
        for (int i : section.other)
            old.append(decoded(lines_.at(i)));
        QStringList fresh = now.otherOptions.split(QLatin1Char('\n'));
        if (fresh.last().isEmpty())
            fresh.removeLast();
        int prefix = 0;
        while (prefix < old.size() && prefix < fresh.size() && old.at(prefix) == fresh.at(prefix))
            ++prefix;
        int suffix = 0;
        while (suffix < old.size() - prefix && suffix < fresh.size() - prefix
               && old.at(old.size() - 1 - suffix) == fresh.at(fresh.size() - 1 - suffix))
            ++suffix;
        QList<QByteArray> inserted;
        for (int i = prefix; i < fresh.size() - suffix; ++i)
            inserted.append(fresh.at(i).toLocal8Bit());
        const int removedEnd = int(old.size()) - suffix;
        if (prefix < removedEnd) {
            for (int i = prefix; i < removedEnd; ++i)
                edits.replace.insert(section.other.at(i), {});
            edits.replace[section.other.at(prefix)] = inserted;
        } else if (prefix > 0) {
            edits.after[section.other.at(prefix - 1)] += inserted;
        } else if (!old.isEmpty()) {
            edits.before[section.other.at(removedEnd)] += inserted;
        } else {
            added += inserted;
        }
    }
    if (!added.isEmpty())
        edits.after[section.lastOption] += added;
}

QByteArray FileText::edited(const QList<Entry>& read, const QList<const Entry*>& now,
                            const QList<QByteArray>& added) const
{
    Edits edits;
    QList<int> kept; // section numbers, in the order they are written
    for (int i = 0; i < sections_.size(); ++i) {
        if (now.value(i)) {
            patch(blocks_.at(sections_.at(i)), read.at(i), *now.at(i), edits);
            kept.append(i);
        }
    }
    std::stable_sort(kept.begin(), kept.end(),
                     [&now](int a, int b) { return now.at(a)->sortPosition < now.at(b)->sortPosition; });

    QByteArray out;
    bool open = false; // the last line written has no newline yet
    const auto put = [&out, &open](const QByteArray& line, bool newline) {
        if (open)
            out += '\n';
        out += line;
        if (newline)
            out += '\n';
        open = !newline;
    };
    const auto putLines = [&](int begin, int end) {
        for (int i = begin; i < end; ++i) {
            for (const QByteArray& line : edits.before.value(i))
                put(line, true);
            const auto replaced = edits.replace.constFind(i);
            if (replaced == edits.replace.cend()) {
                put(lines_.at(i), i + 1 < lines_.size() || lastHasNewline_);
            } else {
                for (const QByteArray& line : *replaced)
                    put(line, true);
            }
            for (const QByteArray& line : edits.after.value(i))
                put(line, true);
        }
    };
    putLines(0, preambleEnd_);
    int next = 0;
    for (int b = 0; b < blocks_.size(); ++b) {
        const Section* block = &blocks_.at(b);
        if (block->repository) {
            const int number = int(sections_.indexOf(b));
            if (!now.value(number))
                continue;
            block = &blocks_.at(sections_.at(kept.at(next++)));
        }
        putLines(block->begin, block->end);
    }
    for (const QByteArray& text : added) {
        if (open)
            put(QByteArray(), true);
        if (!out.isEmpty() && !out.endsWith("\n\n"))
            out += '\n';
        out += text;
    }
    return out;
}

} // namespace Repo
