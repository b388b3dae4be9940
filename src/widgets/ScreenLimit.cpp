#include "widgets/ScreenLimit.h"

#include <QGuiApplication>
#include <QScreen>
#include <QSize>
#include <QWidget>

#include <climits>

namespace ScreenLimit {

QSize maximum(const QWidget* widget)
{
    const QScreen* screen = widget ? widget->screen() : nullptr;
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return QSize(INT_MAX, INT_MAX);
    const QSize size = screen->geometry().size();
    return QSize(size.width() * 9 / 10, size.height() * 9 / 10);
}

QSize bound(const QWidget* widget, const QSize& size)
{
    return size.boundedTo(maximum(widget));
}

} // namespace ScreenLimit
