#include "repo/RepoLarder.h"

#include "repo/RepoEntry.h"

#include <QRegularExpression>

#include <functional>

namespace Repo {

namespace {

// Capture groups: name key, name, password key, password.  A key ends at its first
// "=", so a value may hold one (unencoded, as a person may type it).
const QRegularExpression& larderShape()
{
    static const QRegularExpression rx(QStringLiteral(
        "/larder\\?([^&\\s=]*)=([^&\\s]*)&([^&\\s=]*)=([^&\\s]*)&path="));
    return rx;
}

const QRegularExpression& rhelShape()
{
    static const QRegularExpression rx(
        QStringLiteral("/rhel/([^/\\s=]*)=([^/\\s]*)/([^/\\s=]*)=([^/\\s]*)/"));
    return rx;
}

// The four captures of one shape, rewritten: the new texts for each group.
using Rewrite = std::function<void(const QRegularExpressionMatch& match, QString parts[4])>;

bool rewriteShapes(QString& text, const Rewrite& rewrite)
{
    bool found = false;
    for (const QRegularExpression* shape : {&larderShape(), &rhelShape()}) {
        QString result;
        qsizetype done = 0;
        QRegularExpressionMatchIterator it = shape->globalMatch(text);
        while (it.hasNext()) {
            const QRegularExpressionMatch match = it.next();
            found = true;
            QString parts[4];
            for (int i = 0; i < 4; ++i)
                parts[i] = match.captured(i + 1);
            rewrite(match, parts);
            for (int i = 0; i < 4; ++i) {
                result += QStringView(text).mid(done, match.capturedStart(i + 1) - done);
                result += parts[i];
                done = match.capturedEnd(i + 1);
            }
        }
        if (done > 0) {
            result += QStringView(text).mid(done);
            text = result;
        }
    }
    return found;
}

bool isEncoded(QChar c)
{
    static const QString special = QStringLiteral("$&+,/:;=?@ \"<>#%{}|\\^~[]");
    // Control characters too: a pasted tab or line break would split the URL.
    return c.unicode() < 0x20 || c.unicode() == 0x7f || special.contains(c);
}

int hexValue(QChar c)
{
    const ushort u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'a' && u <= 'f')
        return u - 'a' + 10;
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    return -1;
}

} // namespace

QRegularExpression Larder::oneUrlRegExp()
{
    // The lazy prefix stops at the first shape; a greedy one would capture the last.
    return QRegularExpression(QStringLiteral(
        "^.*?(?:/larder\\?[^&\\s]*=[^&\\s]*&[^&\\s]*=([^&\\s]*)&path=|"
        "/rhel/[^/\\s]*=[^/\\s]*/[^/\\s]*=([^/\\s]*)/).*$"));
}

QRegularExpression Larder::urlsRegExp()
{
    return QRegularExpression(QStringLiteral(
        "(?:/larder\\?[^&\\s]*=[^&\\s]*&[^&\\s]*=([^&\\s]*)&path=|"
        "/rhel/[^/\\s]*=[^/\\s]*/[^/\\s]*=([^/\\s]*)/)[\\s]*\\b"));
}

bool Larder::getAuth(const QString& text, QString& nameKey, QString& name, QString& passwordKey,
                     QString& password)
{
    for (const QRegularExpression* shape : {&larderShape(), &rhelShape()}) {
        const QRegularExpressionMatch match = shape->match(text);
        if (match.hasMatch()) {
            nameKey = match.captured(1);
            name = decode(match.captured(2));
            passwordKey = match.captured(3);
            password = decode(match.captured(4));
            return true;
        }
    }
    return false;
}

bool Larder::getAuth(const Entry& entry, QString& nameKey, QString& name, QString& passwordKey,
                     QString& password)
{
    return getAuth(entry.baseurl, nameKey, name, passwordKey, password)
        || getAuth(entry.mirrorlist, nameKey, name, passwordKey, password);
}

bool Larder::replaceAuth(QString& text, const QString& name, const QString& password)
{
    const QString encodedName = encode(name);
    const QString encodedPassword = encode(password);
    return rewriteShapes(text, [&](const QRegularExpressionMatch&, QString parts[4]) {
        parts[1] = encodedName;
        parts[3] = encodedPassword;
    });
}

bool Larder::replaceAuth(QString& text, const QString& nameKey, const QString& name,
                         const QString& passwordKey, const QString& password)
{
    const QString encodedName = encode(name);
    const QString encodedPassword = encode(password);
    return rewriteShapes(text, [&](const QRegularExpressionMatch&, QString parts[4]) {
        parts[0] = nameKey;
        parts[1] = encodedName;
        parts[2] = passwordKey;
        parts[3] = encodedPassword;
    });
}

bool Larder::replaceAuth(QString& text, const QString& shown)
{
    return rewriteShapes(text,
                         [&](const QRegularExpressionMatch&, QString parts[4]) { parts[3] = shown; });
}

QString Larder::encode(const QString& value)
{
    static const char digits[] = "0123456789abcdef";
    QString result;
    result.reserve(value.size());
    for (const QChar c : value) {
        if (isEncoded(c)) {
            const ushort u = c.unicode();
            result += QLatin1Char('%');
            result += QLatin1Char(digits[u >> 4]);
            result += QLatin1Char(digits[u & 15]);
        } else {
            result += c;
        }
    }
    return result;
}

QString Larder::decode(const QString& value)
{
    QString result;
    result.reserve(value.size());
    const qsizetype n = value.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = value.at(i);
        int high;
        int low;
        if (c == QLatin1Char('%') && i + 2 < n && (high = hexValue(value.at(i + 1))) >= 0
            && (low = hexValue(value.at(i + 2))) >= 0) {
            result += QChar(ushort(high * 16 + low));
            i += 2;
        } else {
            result += c;
        }
    }
    return result;
}

} // namespace Repo
