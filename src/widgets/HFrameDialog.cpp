#include "widgets/HFrameDialog.h"

#include "widgets/HScrollArea.h"
#include "widgets/ModalAnswer.h"
#include "widgets/ScreenLimit.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

HFrameDialog::HFrameDialog(QWidget* parent, bool refit)
    : QDialog(parent), refit_(refit)
{
}

HScrollArea* HFrameDialog::scrolled(QWidget* widget, bool resizable)
{
    auto* area = new HScrollArea(this);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(resizable);
    area->setWidget(widget);
    return area;
}

QPushButton* HFrameDialog::closeButton(bool isDefault)
{
    auto* close = new QPushButton(tr("Close"), this);
    close->setObjectName(QStringLiteral("close"));
    close->setDefault(isDefault);
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    return close;
}

namespace {

QHBoxLayout* buttonRow(const QList<QWidget*>& leading, const QList<QWidget*>& trailing)
{
    auto* buttons = new QHBoxLayout;
    for (QWidget* button : leading)
        buttons->addWidget(button);
    buttons->addStretch();
    for (QWidget* button : trailing)
        buttons->addWidget(button);
    return buttons;
}

} // namespace

void HFrameDialog::frame(QLayout* body, const QList<QWidget*>& leading, const QList<QWidget*>& trailing)
{
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(body);
    layout->addLayout(buttonRow(leading, trailing));
}

void HFrameDialog::frame(QWidget* body, const QList<QWidget*>& leading, const QList<QWidget*>& trailing)
{
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(body);
    layout->addLayout(buttonRow(leading, trailing));
}

QSize HFrameDialog::sizeHint() const
{
    return ScreenLimit::bound(this, QDialog::sizeHint());
}

void HFrameDialog::setVisible(bool visible)
{
    if (visible && refit_)
        resize(sizeHint());
    QDialog::setVisible(visible);
}

int HFrameDialog::exec()
{
    return ModalAnswer::exec(*this);
}
