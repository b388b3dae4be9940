#include "widgets/PasswdLineEdit.h"

#include "widgets/PasswdMask.h"

#include <QContextMenuEvent>
#include <QKeyEvent>

PasswdLineEdit::PasswdLineEdit(const QRegularExpression& regExp, QWidget* parent)
    : QLineEdit(parent)
    , real_(new QLineEdit(this))
    , regExp_(regExp)
    , wholeText_(QRegularExpression::anchoredPattern(regExp.pattern()), regExp.patternOptions())
{
    real_->hide();
    real_->setFocusPolicy(Qt::NoFocus);
    // What is dropped here would not reach the real text.
    setAcceptDrops(false);
    connect(real_, &QLineEdit::textChanged, this, &PasswdLineEdit::mask);
}

void PasswdLineEdit::setRealText(const QString& text)
{
    real_->setText(text);
}

QString PasswdLineEdit::realText() const
{
    return real_->text();
}

void PasswdLineEdit::mask()
{
    const QString real = real_->text();
    QString shown = real;
    const QRegularExpressionMatch match = wholeText_.match(real);
    if (match.hasMatch())
        PasswdMask::maskGroups(shown, match, this);
    const int position = real_->cursorPosition();
    setText(shown);
    setCursorPosition(position);
    real_->setCursorPosition(position);
    Q_EMIT realTextChanged(real);
}

void PasswdLineEdit::forward(QEvent* event)
{
    PasswdMask::forward(real_, event);
}

// The user acts on what is shown: after the hidden editor has had the event, its
// cursor and selection follow the visible ones (word boundaries and scrolling of the
// masked text differ from the real text's), and the selection that other programs
// can paste is the masked one.
void PasswdLineEdit::forwardInput(QEvent* event)
{
    real_->setReadOnly(isReadOnly());
    forward(event);
    const int position = cursorPosition();
    if (hasSelectedText()) {
        const int start = selectionStart();
        const int length = selectionLength();
        if (position == start)
            real_->setSelection(start + length, -length);
        else
            real_->setSelection(start, length);
    } else {
        real_->setCursorPosition(position);
    }
    PasswdMask::offerSelection(selectedText());
}

void PasswdLineEdit::mousePressEvent(QMouseEvent* event)
{
    QLineEdit::mousePressEvent(event);
    forwardInput(event);
}

void PasswdLineEdit::mouseReleaseEvent(QMouseEvent* event)
{
    QLineEdit::mouseReleaseEvent(event);
    forwardInput(event);
}

void PasswdLineEdit::mouseDoubleClickEvent(QMouseEvent* event)
{
    QLineEdit::mouseDoubleClickEvent(event);
    forwardInput(event);
}

void PasswdLineEdit::mouseMoveEvent(QMouseEvent* event)
{
    QLineEdit::mouseMoveEvent(event);
    forwardInput(event);
}

void PasswdLineEdit::keyPressEvent(QKeyEvent* event)
{
    QLineEdit::keyPressEvent(event);
    // Copying is left to this field, which holds the masked text; cutting removes
    // the selection from the real text without copying it.
    if (event->matches(QKeySequence::Copy))
        return;
    if (event->matches(QKeySequence::Cut)) {
        if (!isReadOnly() && real_->hasSelectedText())
            real_->del();
        return;
    }
    forwardInput(event);
}

// Text composed in an input method arrives here, not as key presses.
void PasswdLineEdit::inputMethodEvent(QInputMethodEvent* event)
{
    QLineEdit::inputMethodEvent(event);
    forwardInput(event);
}

void PasswdLineEdit::keyReleaseEvent(QKeyEvent* event)
{
    QLineEdit::keyReleaseEvent(event);
    forward(event);
}

void PasswdLineEdit::moveEvent(QMoveEvent* event)
{
    QLineEdit::moveEvent(event);
    forward(event);
}

void PasswdLineEdit::resizeEvent(QResizeEvent* event)
{
    QLineEdit::resizeEvent(event);
    real_->setGeometry(geometry());
    forward(event);
}

// No menu: it would offer to copy the text out.
void PasswdLineEdit::contextMenuEvent(QContextMenuEvent* event)
{
    event->accept();
}
