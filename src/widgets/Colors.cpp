#include "widgets/Colors.h"

#include <QColor>
#include <QPalette>
#include <QString>

namespace Colors {

QString action() { return QStringLiteral("blue"); }
QString error() { return QStringLiteral("red"); }
QString errorDisabled() { return QStringLiteral("#ffa9b8"); }
QString warning() { return QStringLiteral("darkorange"); }
QString minor() { return QStringLiteral("#8b5a2b"); }
QString minorDisabled() { return QStringLiteral("#ffbd94"); }
QString ok() { return QStringLiteral("green"); }
QString requiredBg() { return QStringLiteral("#fffacd"); }
QString errorBg() { return QStringLiteral("#ff6060"); }
QString warningBg() { return QStringLiteral("yellow"); }
QString okBg() { return QStringLiteral("lightgreen"); }

QPalette makeRequired(const QPalette& palette)
{
    static const QColor required(requiredBg());
    QPalette result(palette);
    result.setColor(QPalette::Active, QPalette::Base, required);
    result.setColor(QPalette::Inactive, QPalette::Base, required);
    return result;
}

QPalette makeError(const QPalette& palette)
{
    return makeWindow(palette, errorBg());
}

QPalette makeWarning(const QPalette& palette)
{
    return makeWindow(palette, warningBg());
}

QPalette makeOK(const QPalette& palette)
{
    return makeWindow(palette, okBg());
}

QPalette makeWindow(const QPalette& palette, const QString& colorName)
{
    const QColor background(colorName);
    QPalette result(palette);
    result.setColor(QPalette::Window, background);
    result.setColor(QPalette::WindowText,
                    qGray(background.rgb()) < 124 ? QColor(Qt::white) : QColor(Qt::black));
    return result;
}

} // namespace Colors
