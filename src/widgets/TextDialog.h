#pragma once

#include "widgets/HFrameDialog.h"

class HTextEdit;

// Shows a long plain text (a file list, a change log) to read and close.
class TextDialog : public HFrameDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(TextDialog)

public:
    explicit TextDialog(QWidget* parent = nullptr);

    void setText(const QString& text);
    HTextEdit* editor() const { return editor_; }

private:
    HTextEdit* editor_;
};
