#include "widgets/Fonts.h"

#include <QCoreApplication>
#include <QFont>
#include <QFontInfo>

namespace Fonts {

QFont makeHeader(const QFont& font)
{
    QFont result(font);
    result.setFixedPitch(false);
    result.setStyleHint(QFont::SansSerif, QFont::PreferDefault);
    result.setBold(true);
    if (result.pixelSize() > 0)
        result.setPixelSize(result.pixelSize() * 3 / 2);
    else if (result.pointSize() > 0)
        result.setPointSize(result.pointSize() * 3 / 2);
    return result;
}

QFont makeFixed(const QFont& font)
{
    static const char* const families[] = {
        QT_TRANSLATE_NOOP("Fonts", "Bitstream Vera Sans Mono"),
        QT_TRANSLATE_NOOP("Fonts", "DejaVu Sans Mono"),
        QT_TRANSLATE_NOOP("Fonts", "Monospace"),
        QT_TRANSLATE_NOOP("Fonts", "Courier"),
    };
    QFont result(font);
    result.setFixedPitch(true);
    for (const char* family : families) {
        const QString name = QCoreApplication::translate("Fonts", family);
        result.setFamily(name);
        // A missing family resolves to some other one; keep only a real match.
        if (QFontInfo(result).family() == name)
            break;
    }
    return result;
}

QFont makeBold(const QFont& font)
{
    QFont result(font);
    result.setBold(true);
    return result;
}

} // namespace Fonts
