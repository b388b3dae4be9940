#include "widgets/BreakableText.h"

#include <QString>

namespace BreakableText {

namespace {

const QChar zeroWidthSpace(0x200b);

bool isSeparator(QChar c)
{
    switch (c.unicode()) {
    case '/': case '.': case '-': case '_': case '?': case '&': case '=': case ',': case ':':
        return true;
    default:
        return false;
    }
}

void appendWord(QString& out, QStringView word, int longest)
{
    if (word.size() <= longest) {
        out += word;
        return;
    }
    int sinceBreak = 0;
    for (qsizetype i = 0; i < word.size(); ++i) {
        const QChar c = word.at(i);
        out += c;
        ++sinceBreak;
        const bool last = i + 1 == word.size();
        if (!last && (isSeparator(c) || sinceBreak >= longest)) {
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
