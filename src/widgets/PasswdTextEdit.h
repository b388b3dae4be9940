#pragma once

#include "widgets/HTextEdit.h"

#include <QRegularExpression>

// A text edit that shows its text with the capture groups of every match of an
// expression masked, while the real text stays whole in a hidden editor that
// follows every edit.
class PasswdTextEdit : public HTextEdit
{
    Q_OBJECT
    Q_DISABLE_COPY(PasswdTextEdit)

public:
    explicit PasswdTextEdit(const QRegularExpression& regExp, QWidget* parent = nullptr);
    // Sized for rows lines of columns letters, as HTextEdit.
    PasswdTextEdit(const QRegularExpression& regExp, int rows, int columns,
                   QWidget* parent = nullptr);

    void setRealPlainText(const QString& text);
    QString realPlainText() const;

Q_SIGNALS:
    void realTextChanged();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void init();
    void mask();
    void forward(QEvent* event);
    void forwardMouse(QMouseEvent* event);
    void followCursor();

    HTextEdit* real_;
    QRegularExpression regExp_;
};
