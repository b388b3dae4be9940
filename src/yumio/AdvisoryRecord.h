#pragma once

#include <QString>
#include <QVector>

namespace Advisory {

enum Type { Security = 0, Bugfix = 1, Enhancement = 2, NewPackage = 3, Unknown = 4 };

// One advisory of a repository's update information.
class Record final
{
public:
    struct Reference {
        QString type; // "cve", "bugzilla", "vendor" or "other"
        QString id;
        QString title;
        QString url;
    };

    Type type = Unknown;
    QString id;
    QString title;
    // As the repository writes it ("Critical", "Important", ...); may be empty.
    QString severity;
    // Seconds since the epoch, UTC; 0 when unknown.
    qint64 issued = 0;
    QString description;
    QVector<Reference> references;

    // The type of the update information's word for it.
    static Type typeOf(const QString& word);
    QString typeText() const;
    // The severity when it says anything ("None" does not).
    QString shownSeverity() const;
    // "yyyy-MM-dd", empty when unknown.
    QString issuedText() const;
    // One line naming the advisory: type, severity and id.
    QString line() const;
};

} // namespace Advisory
