#include "widgets/HMenu.h"

#include <QAction>
#include <QHelpEvent>
#include <QMenuBar>
#include <QToolTip>

HMenu::HMenu(const QString& title, QMenuBar* parent)
    : QMenu(title, parent)
{
}

bool HMenu::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        QAction* action = activeAction();
        // The pointer may rest in an open submenu; its item is the one meant.
        while (action) {
            const QMenu* submenu = QMenu::menuInAction(action);
            if (!submenu || !submenu->isVisible() || !submenu->activeAction())
                break;
            action = submenu->activeAction();
        }
        if (action) {
            const QString tip = action->toolTip();
            QString text = action->text();
            text.remove(QStringLiteral("...")).remove(QLatin1Char('&'));
            if (!tip.isEmpty() && tip != text)
                QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), tip, this);
        }
    }
    return QMenu::event(event);
}
