#pragma once

#include <QDialog>

// A message too long for a message box: the text scrolls, the dialog stays on screen.
class ScrollableErrorDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(ScrollableErrorDialog)

public:
    explicit ScrollableErrorDialog(const QString& text, QWidget* parent = nullptr);

    // Within nine tenths of the screen however long the text: it scrolls instead.
    QSize sizeHint() const override;

public Q_SLOTS:
    // Answerable by ModalAnswer.
    int exec() override;
};
