#include "widgets/BreakableText.h"

#include <QString>

namespace BreakableText {

namespace {

const QChar zeroWidthSpace(0x200b);

// Where the text layout breaks a word by itself.
bool breaksAfter(QChar c)
{
    return c == QLatin1Char('/') || c == QLatin1Char('-');
}

void appendWord(QString& out, QStringView word, int longest)
{
    int sinceBreak = 0;
    for (qsizetype i = 0; i < word.size(); ++i) {
        const QChar c = word.at(i);
        out += c;
        sinceBreak = breaksAfter(c) ? 0 : sinceBreak + 1;
        if (sinceBreak >= longest && i + 1 < word.size()) {
            out += zeroWidthSpace;
            sinceBreak = 0;
        }
    }
}

} // namespace

QString of(const QString& text, int longest)
{
    QString out;
    out.reserve(text.size() + text.size() / 8);
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i == text.size() || text.at(i).isSpace()) {
            appendWord(out, QStringView(text).mid(start, i - start), longest);
            if (i < text.size())
                out += text.at(i);
            start = i + 1;
        }
    }
    return out;
}

} // namespace BreakableText
