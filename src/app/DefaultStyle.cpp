#include "app/DefaultStyle.h"

#include <QApplication>
#include <QSettings>
#include <QStyle>
#include <QStyleFactory>

#include <cstdlib>
#include <cstring>

DefaultStyle::DefaultStyle(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "-style=", 7) == 0 || std::strcmp(argv[i], "-style") == 0) {
            userChosen_ = true;
            return;
        }
    }
    const char* override = std::getenv("QT_STYLE_OVERRIDE");
    if (override && *override) {
        userChosen_ = true;
        return;
    }
    // The toolkit's own configuration tool keeps the user's choice here.
    QSettings settings(QSettings::UserScope, QStringLiteral("Trolltech"));
    settings.beginGroup(QStringLiteral("Qt"));
    userChosen_ = settings.contains(QStringLiteral("style"));
}

void DefaultStyle::set(QApplication& application, const QString& styleName) const
{
    if (userChosen_)
        return;
    QStyle* style = QStyleFactory::create(styleName);
    if (!style)
        return;
    QApplication::setStyle(style);
    QApplication::setPalette(style->standardPalette());
    Q_UNUSED(application);
}
