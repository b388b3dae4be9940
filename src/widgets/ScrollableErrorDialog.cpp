#include "widgets/ScrollableErrorDialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "widgets/HScrollArea.h"
#include "widgets/ModalAnswer.h"
#include "widgets/ScreenLimit.h"

ScrollableErrorDialog::ScrollableErrorDialog(const QString& text, QWidget* parent)
    : QDialog(parent)
{
    auto* label = new QLabel(text);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* area = new HScrollArea(this);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(label);

    auto* close = new QPushButton(tr("Close"), this);
    close->setDefault(true);
    connect(close, &QPushButton::clicked, this, &QDialog::accept);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(close);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(area);
    layout->addLayout(buttons);
}

QSize ScrollableErrorDialog::sizeHint() const
{
    return ScreenLimit::bound(this, QDialog::sizeHint());
}

int ScrollableErrorDialog::exec()
{
    return ModalAnswer::exec(*this);
}
