#pragma once

#include <QByteArray>
#include <QString>

#include <regex.h>
#include <string_view>

namespace PackageTable {

// One compiled extended expression (case-sensitive, as the system's regcomp reads it)
// with what speeds it up: a plain text is searched as such, and an expression that
// needs some text in every match skips the texts without it.  One per thread: the
// system serialises concurrent matching against one compiled expression.
class SearchMatcher final
{
    Q_DISABLE_COPY(SearchMatcher)

public:
    explicit SearchMatcher(const QByteArray& pattern);
    ~SearchMatcher();

    bool valid() const { return result_ == 0; }
    // The system's description of why the expression did not compile; empty when valid.
    QString error() const;
    // Whether the expression matches the text, read up to its first null.
    bool matches(const char* text, size_t length) const;
    // Whether it matches any of the items, each followed by a null.
    bool matchesAny(std::string_view items) const;
    // Whether the expression is a plain text, matched wherever it occurs.
    bool literal() const { return result_ == 0 && literal_; }
    // A text that every match contains, or empty.
    std::string_view needed() const;
    // The longest text that every match contains, or empty (visible for tests).
    static QByteArray requiredText(const QByteArray& pattern);

private:
    regex_t regex_;
    int result_;
    bool literal_ = false;
    QByteArray pattern_;
    QByteArray required_;
};

} // namespace PackageTable
