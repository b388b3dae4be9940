#include "yumio/AdvisoryRecord.h"

#include <QCoreApplication>
#include <QDateTime>

namespace Advisory {

Type Record::typeOf(const QString& word)
{
    if (word == QLatin1String("security"))
        return Security;
    if (word == QLatin1String("bugfix"))
        return Bugfix;
    if (word == QLatin1String("enhancement"))
        return Enhancement;
    if (word == QLatin1String("newpackage"))
        return NewPackage;
    return Unknown;
}

QString Record::typeText() const
{
    switch (type) {
    case Security:
        return QCoreApplication::translate("Advisory", "Security");
    case Bugfix:
        return QCoreApplication::translate("Advisory", "Bug fix");
    case Enhancement:
        return QCoreApplication::translate("Advisory", "Enhancement");
    case NewPackage:
        return QCoreApplication::translate("Advisory", "New package");
    case Unknown:
        break;
    }
    return QCoreApplication::translate("Advisory", "Advisory");
}

QString Record::shownSeverity() const
{
    const QString s = severity.trimmed();
    return s.compare(QLatin1String("None"), Qt::CaseInsensitive) == 0 ? QString() : s;
}

QString Record::issuedText() const
{
    if (issued <= 0)
        return QString();
    return QDateTime::fromSecsSinceEpoch(issued, Qt::UTC).toString(QStringLiteral("yyyy-MM-dd"));
}

QString Record::line() const
{
    const QString s = shownSeverity();
    if (s.isEmpty())
        return QCoreApplication::translate("Advisory", "%1: %2").arg(typeText(), id);
    return QCoreApplication::translate("Advisory", "%1 (%2): %3").arg(typeText(), s, id);
}

} // namespace Advisory
