#include "widgets/TextDialog.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

#include "widgets/HTextEdit.h"
#include "widgets/ModalAnswer.h"
#include "widgets/ScreenLimit.h"

TextDialog::TextDialog(QWidget* parent)
    : QDialog(parent)
    , editor_(new HTextEdit(80, 24, this))
{
    editor_->setReadOnly(true);
    editor_->setLineWrapMode(QTextEdit::NoWrap);

    auto* close = new QPushButton(tr("Close"), this);
    connect(close, &QPushButton::clicked, this, &QDialog::accept);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(close);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(editor_);
    layout->addLayout(buttons);
}

void TextDialog::setText(const QString& text)
{
    editor_->setPlainText(text);
}

QSize TextDialog::sizeHint() const
{
    return ScreenLimit::bound(this, QDialog::sizeHint());
}

int TextDialog::exec()
{
    return ModalAnswer::exec(*this);
}
