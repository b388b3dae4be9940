#pragma once

#include <QMenu>

class QMenuBar;

// A menu that shows its items' tool tips, where they say more than the item's text.
class HMenu : public QMenu
{
    Q_OBJECT
    Q_DISABLE_COPY(HMenu)

public:
    HMenu(const QString& title, QMenuBar* parent);

protected:
    bool event(QEvent* event) override;
};
