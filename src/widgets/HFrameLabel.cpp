#include "widgets/HFrameLabel.h"

#include <QHBoxLayout>
#include <QLabel>

HFrameLabel::HFrameLabel(QWidget* parent, Qt::WindowFlags flags)
    : QFrame(parent, flags)
    , label_(new QLabel(this))
    , initialPalette_(palette())
    , palette_(palette())
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addWidget(label_);
    setFrameShadow(QFrame::Plain);
    setFrameShape(QFrame::NoFrame);
    setAutoFillBackground(true);
}

HFrameLabel::HFrameLabel(const QString& text, QWidget* parent, Qt::WindowFlags flags)
    : HFrameLabel(parent, flags)
{
    setText(text);
}

QString HFrameLabel::text() const
{
    return label_->text();
}

void HFrameLabel::setText(const QString& text)
{
    label_->setText(text);
    if (text.isEmpty()) {
        setFrameShape(QFrame::NoFrame);
        QFrame::setPalette(initialPalette_);
    } else {
        setFrameShape(QFrame::StyledPanel);
        QFrame::setPalette(palette_);
    }
}

void HFrameLabel::setPalette(const QPalette& palette)
{
    palette_ = palette;
    if (!label_->text().isEmpty())
        QFrame::setPalette(palette_);
}
