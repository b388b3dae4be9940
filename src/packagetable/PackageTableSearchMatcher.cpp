#include "packagetable/PackageTableSearchMatcher.h"

#include <cstring>

namespace PackageTable {

namespace {

const char* const special = ".[]()*+?{}|^$\\";

bool isLiteral(const QByteArray& pattern)
{
    for (const char c : pattern) {
        if (std::strchr(special, c))
            return false;
    }
    return !pattern.isEmpty();
}

// Drops the last character of run, all of its bytes: a repetition applies to the whole
// character in a multibyte locale.
void dropLastCharacter(QByteArray& run)
{
    while (!run.isEmpty() && (uchar(run.back()) & 0xc0) == 0x80)
        run.chop(1);
    run.chop(1);
}

} // namespace

SearchMatcher::SearchMatcher(const QByteArray& pattern)
    : pattern_(pattern)
{
    result_ = regcomp(&regex_, pattern.constData(), REG_EXTENDED | REG_NOSUB);
    if (result_ != 0)
        return;
    literal_ = isLiteral(pattern);
    if (!literal_)
        required_ = requiredText(pattern);
}

SearchMatcher::~SearchMatcher()
{
    if (result_ == 0)
        regfree(&regex_);
}

QString SearchMatcher::error() const
{
    if (result_ == 0)
        return QString();
    char text[256];
    regerror(result_, &regex_, text, sizeof text);
    return QString::fromLocal8Bit(text);
}

QByteArray SearchMatcher::requiredText(const QByteArray& pattern)
{
    // Only a sequence of plain atoms is read; an alternative anywhere makes nothing
    // certain.  Whatever is not understood ends the current run, which keeps the result
    // a text every match contains.
    QByteArray best;
    QByteArray run;
    const auto endRun = [&] {
        if (run.size() > best.size())
            best = run;
        run.clear();
    };
    const qsizetype size = pattern.size();
    for (qsizetype i = 0; i < size; ++i) {
        const char c = pattern.at(i);
        switch (c) {
        case '|':
            return QByteArray();
        case '\\':
            if (i + 1 < size && std::strchr(special, pattern.at(i + 1))) {
                run.append(pattern.at(++i));
            } else {
                endRun();
                ++i;
            }
            break;
        case '[': {
            endRun();
            qsizetype j = i + 1;
            if (j < size && pattern.at(j) == '^')
                ++j;
            if (j < size && pattern.at(j) == ']')
                ++j;
            while (j < size && pattern.at(j) != ']') {
                if (pattern.at(j) == '[' && j + 1 < size && std::strchr(":.=", pattern.at(j + 1))) {
                    const char close = pattern.at(j + 1);
                    j += 2;
                    while (j + 1 < size && !(pattern.at(j) == close && pattern.at(j + 1) == ']'))
                        ++j;
                    j += 2;
                } else {
                    ++j;
                }
            }
            i = j;
            break;
        }
        case '(': {
            // A group, alternatives inside it included, is passed over as uncertain.
            endRun();
            int depth = 1;
            qsizetype j = i + 1;
            for (; j < size && depth > 0; ++j) {
                if (pattern.at(j) == '\\')
                    ++j;
                else if (pattern.at(j) == '(')
                    ++depth;
                else if (pattern.at(j) == ')')
                    --depth;
            }
            i = j - 1;
            break;
        }
        case '*':
        case '?':
            dropLastCharacter(run);
            endRun();
            break;
        case '{':
            dropLastCharacter(run);
            endRun();
            while (i + 1 < size && pattern.at(i + 1) != '}')
                ++i;
            ++i;
            break;
        case '+':
            endRun();
            break;
        case '.':
        case '^':
        case '$':
        case ')':
            endRun();
            break;
        default:
            run.append(c);
            break;
        }
    }
    endRun();
    return best;
}

std::string_view SearchMatcher::needed() const
{
    if (result_ != 0)
        return std::string_view();
    const QByteArray& text = literal_ ? pattern_ : required_;
    return std::string_view(text.constData(), size_t(text.size()));
}

bool SearchMatcher::matches(const char* text, size_t length) const
{
    if (result_ != 0)
        return false;
    if (literal_)
        return std::string_view(text, length).find(std::string_view(pattern_.constData(), size_t(pattern_.size())))
            != std::string_view::npos;
    return regexec(&regex_, text, 0, nullptr, 0) == 0;
}

bool SearchMatcher::matchesAny(std::string_view items) const
{
    if (result_ != 0)
        return false;
    if (literal_ || !required_.isEmpty()) {
        // The needed text occurs inside some items only: those alone are tried, the
        // rest of the field is passed over at the speed of a plain search.
        const QByteArray& needle = literal_ ? pattern_ : required_;
        size_t from = 0;
        while (from < items.size()) {
            const void* found = memmem(items.data() + from, items.size() - from, needle.constData(),
                                       size_t(needle.size()));
            if (!found)
                return false;
            if (literal_)
                return true;
            // The item holding it: from the null before to the null after.
            const size_t at = size_t(static_cast<const char*>(found) - items.data());
            const size_t start = items.rfind('\0', at);
            const size_t begin = start == std::string_view::npos ? 0 : start + 1;
            if (regexec(&regex_, items.data() + begin, 0, nullptr, 0) == 0)
                return true;
            const size_t end = items.find('\0', at);
            if (end == std::string_view::npos)
                return false;
            from = end + 1;
        }
        return false;
    }
    size_t begin = 0;
    while (begin < items.size()) {
        if (regexec(&regex_, items.data() + begin, 0, nullptr, 0) == 0)
            return true;
        const size_t end = items.find('\0', begin);
        if (end == std::string_view::npos)
            break;
        begin = end + 1;
    }
    return false;
}

} // namespace PackageTable
