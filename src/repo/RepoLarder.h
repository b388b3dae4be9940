#pragma once

class QRegularExpression;
class QString;

namespace Repo {

class Entry;

// Credentials carried inside repository URLs (the larder authentication method), in
// one of two shapes, each with a name and a password as key=value pairs:
//   .../larder?KEY=NAME&KEY=PASSWORD&path=...
//   .../rhel/KEY=NAME/KEY=PASSWORD/...
// Values are kept percent-encoded inside the URL.
class Larder final
{
public:
    // Matches a whole line holding a URL with credentials; the capture groups are
    // the password values of the two URL shapes, taken from the first shape of the line.
    static QRegularExpression oneUrlRegExp();
    // Finds every URL with credentials in a text of several URLs; the capture groups
    // are the password values.
    static QRegularExpression urlsRegExp();

    // The keys and decoded values of the first "/larder?" shape in text, else of the
    // first "/rhel/" shape; false when text holds no complete shape.
    static bool getAuth(const QString& text, QString& nameKey, QString& name,
                        QString& passwordKey, QString& password);
    // Looks in the entry's baseurl, else in its mirrorlist.
    static bool getAuth(const Entry& entry, QString& nameKey, QString& name,
                        QString& passwordKey, QString& password);

    // Writes name and password, encoded, into every shape of text, each shape keeping
    // its keys; false when text holds no shape.
    static bool replaceAuth(QString& text, const QString& name, const QString& password);
    // The same with the keys given.
    static bool replaceAuth(QString& text, const QString& nameKey, const QString& name,
                            const QString& passwordKey, const QString& password);
    // Puts shown in place of every password as it stands (not encoded): a URL for
    // display, its password masked.
    static bool replaceAuth(QString& text, const QString& shown);

    static QString encode(const QString& value);
    static QString decode(const QString& value);
};

} // namespace Repo
