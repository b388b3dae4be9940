#include "progress/HProgressBar.h"

#include "progress/ProgressMinion.h"

#include <QHelpEvent>

HProgressBar::HProgressBar(QWidget* parent)
    : QProgressBar(parent)
{
    // Progress reported on these bars needs the relay that sets them.
    Progress::Minion::install();
}

QString HProgressBar::text() const
{
    const QString base = QProgressBar::text();
    if (activity_.isEmpty())
        return base;
    if (base.isEmpty())
        return activity_;
    return tr("%1 (%2)").arg(activity_, base);
}

void HProgressBar::setActivity(const QString& activity)
{
    if (activity == activity_)
        return;
    activity_ = activity;
    update();
}

void HProgressBar::reset()
{
    activity_.clear();
    QProgressBar::reset();
}

bool HProgressBar::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        QWidget* top = window();
        if (top->testAttribute(Qt::WA_AlwaysShowToolTips) || top->isActiveWindow()) {
            Q_EMIT toolTip(static_cast<QHelpEvent*>(event)->pos());
            event->accept();
            return true;
        }
    }
    // Past QProgressBar's own handler on purpose: it has nothing to add here.
    return QWidget::event(event);
}
