#pragma once

#include <QDialog>

class HTextEdit;

// Shows a long plain text (a file list, a change log) to read and close.
class TextDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(TextDialog)

public:
    explicit TextDialog(QWidget* parent = nullptr);

    void setText(const QString& text);
    HTextEdit* editor() const { return editor_; }

    // Within nine tenths of the screen however long the text: it scrolls instead.
    QSize sizeHint() const override;

public Q_SLOTS:
    // Answerable by ModalAnswer.
    int exec() override;

private:
    HTextEdit* editor_;
};
