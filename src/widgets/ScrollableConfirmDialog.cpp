#include "widgets/ScrollableConfirmDialog.h"

#include "widgets/HScrollArea.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>

ScrollableConfirmDialog::ScrollableConfirmDialog(const QString& text, const QString& acceptLabel,
                                                 const QString& rejectLabel, QWidget* parent)
    : HFrameDialog(parent)
{
    auto* icon = new QLabel(this);
    const int extent = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxQuestion, nullptr, this)
                        .pixmap(extent, extent));
    icon->setAlignment(Qt::AlignTop | Qt::AlignHCenter);

    auto* label = new QLabel(text);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    HScrollArea* area = scrolled(label, false);

    auto* accepting = new QPushButton(acceptLabel, this);
    accepting->setDefault(true);
    connect(accepting, &QPushButton::clicked, this, &QDialog::accept);
    auto* rejecting = new QPushButton(rejectLabel, this);
    connect(rejecting, &QPushButton::clicked, this, &QDialog::reject);

    auto* message = new QHBoxLayout;
    message->addWidget(icon);
    message->addWidget(area, 1);
    frame(message, {}, { accepting, rejecting });
}
