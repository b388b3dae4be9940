#pragma once

#include <QTextEdit>

// A text edit sized in characters, never beyond nine tenths of the screen, that
// tells when editing is finished.
class HTextEdit : public QTextEdit
{
    Q_OBJECT
    Q_DISABLE_COPY(HTextEdit)

public:
    explicit HTextEdit(QWidget* parent = nullptr);
    // Room for columns letters n by rows lines; -1 leaves a dimension to the base.
    HTextEdit(int columns, int rows, QWidget* parent = nullptr);

    QSize sizeHint() const override;

    // Appends text as a paragraph without top and bottom margins, so that
    // consecutive lines sit without gaps.
    void appendCompact(const QString& text);

Q_SIGNALS:
    // The focus left the editor, other than to one of its pop-ups.
    void editingFinished();

protected:
    void focusOutEvent(QFocusEvent* event) override;

private:
    int columns_ = -1;
    int rows_ = -1;
};
