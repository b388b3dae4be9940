#include "widgets/TextDialog.h"

#include "widgets/HTextEdit.h"

#include <QPushButton>

TextDialog::TextDialog(QWidget* parent)
    : HFrameDialog(parent)
    , editor_(new HTextEdit(80, 24, this))
{
    editor_->setReadOnly(true);
    editor_->setLineWrapMode(QTextEdit::NoWrap);
    frame(editor_, {}, { closeButton(false) });
}

void TextDialog::setText(const QString& text)
{
    editor_->setPlainText(text);
}
