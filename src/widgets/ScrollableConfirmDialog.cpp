#include "widgets/ScrollableConfirmDialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

#include "widgets/HScrollArea.h"
#include "widgets/ModalAnswer.h"
#include "widgets/ScreenLimit.h"

ScrollableConfirmDialog::ScrollableConfirmDialog(const QString& text, const QString& acceptLabel,
                                                 const QString& rejectLabel, QWidget* parent)
    : QDialog(parent)
{
    auto* icon = new QLabel(this);
    const int extent = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxQuestion, nullptr, this)
                        .pixmap(extent, extent));
    icon->setAlignment(Qt::AlignTop | Qt::AlignHCenter);

    auto* label = new QLabel(text);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* area = new HScrollArea(this);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(label);

    auto* accepting = new QPushButton(acceptLabel, this);
    accepting->setDefault(true);
    connect(accepting, &QPushButton::clicked, this, &QDialog::accept);
    auto* rejecting = new QPushButton(rejectLabel, this);
    connect(rejecting, &QPushButton::clicked, this, &QDialog::reject);

    auto* message = new QHBoxLayout;
    message->addWidget(icon);
    message->addWidget(area, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(accepting);
    buttons->addWidget(rejecting);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(message);
    layout->addLayout(buttons);
}

QSize ScrollableConfirmDialog::sizeHint() const
{
    return ScreenLimit::bound(this, QDialog::sizeHint());
}

int ScrollableConfirmDialog::exec()
{
    return ModalAnswer::exec(*this);
}
