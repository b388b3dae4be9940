#pragma once

#include <QLineEdit>
#include <QRegularExpression>

// A line edit that shows its text with the capture groups of an expression masked,
// while the real text stays whole in a hidden editor that follows every edit.
class PasswdLineEdit : public QLineEdit
{
    Q_OBJECT
    Q_DISABLE_COPY(PasswdLineEdit)

public:
    // Only a text that regExp matches as a whole is masked.
    explicit PasswdLineEdit(const QRegularExpression& regExp, QWidget* parent = nullptr);

    void setRealText(const QString& text);
    QString realText() const;

Q_SIGNALS:
    void realTextChanged(const QString& text);

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
    void mask();
    void forward(QEvent* event);
    void forwardInput(QEvent* event);

    QLineEdit* real_;
    QRegularExpression regExp_;
    QRegularExpression wholeText_;
};
