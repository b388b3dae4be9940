#pragma once

#include <QDialog>

// A question with a long text (a transaction listing): the text scrolls, the two
// answers stay in view.
class ScrollableConfirmDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(ScrollableConfirmDialog)

public:
    ScrollableConfirmDialog(const QString& text, const QString& acceptLabel,
                            const QString& rejectLabel, QWidget* parent = nullptr);

    // Within nine tenths of the screen however long the text: it scrolls instead.
    QSize sizeHint() const override;

public Q_SLOTS:
    // Answerable by ModalAnswer.
    int exec() override;
};
