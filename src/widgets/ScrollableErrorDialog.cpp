#include "widgets/ScrollableErrorDialog.h"

#include "widgets/HScrollArea.h"

#include <QLabel>
#include <QPushButton>

ScrollableErrorDialog::ScrollableErrorDialog(const QString& text, QWidget* parent)
    : HFrameDialog(parent)
{
    auto* label = new QLabel(text);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    HScrollArea* area = scrolled(label, false);
    frame(area, {}, { closeButton(true) });
}
