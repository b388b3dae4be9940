#include "widgets/PasswdTextEdit.h"

#include "widgets/PasswdMask.h"

#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QScrollBar>
#include <QTextCursor>

PasswdTextEdit::PasswdTextEdit(const QRegularExpression& regExp, QWidget* parent)
    : HTextEdit(parent)
    , real_(new HTextEdit(this))
    , regExp_(regExp)
{
    init();
}

PasswdTextEdit::PasswdTextEdit(const QRegularExpression& regExp, int rows, int columns,
                               QWidget* parent)
    : HTextEdit(columns, rows, parent)
    , real_(new HTextEdit(this))
    , regExp_(regExp)
{
    init();
}

void PasswdTextEdit::init()
{
    real_->hide();
    real_->setFocusPolicy(Qt::NoFocus);
    real_->setAcceptRichText(false);
    // Mouse events reach the hidden viewport through the application; one that it
    // ignores must not travel on to this field's parents.
    real_->setAttribute(Qt::WA_NoMousePropagation);
    real_->viewport()->setAttribute(Qt::WA_NoMousePropagation);
    setAcceptRichText(false);
    // What is dropped here would not reach the real text.
    setAcceptDrops(false);
    viewport()->setAcceptDrops(false);
    connect(real_, &QTextEdit::textChanged, this, &PasswdTextEdit::mask);
}

void PasswdTextEdit::setRealPlainText(const QString& text)
{
    real_->setPlainText(text);
}

QString PasswdTextEdit::realPlainText() const
{
    return real_->toPlainText();
}

void PasswdTextEdit::mask()
{
    const QString real = real_->toPlainText();
    QString shown = real;
    QRegularExpressionMatchIterator matches = regExp_.globalMatch(real);
    while (matches.hasNext())
        PasswdMask::maskGroups(shown, matches.next(), this);
    const int position = real_->textCursor().position();
    // Replacing the text scrolls to the top; the view stays where the user left it.
    const int horizontal = horizontalScrollBar()->value();
    const int vertical = verticalScrollBar()->value();
    setPlainText(shown);
    QTextCursor cursor = textCursor();
    cursor.setPosition(position);
    setTextCursor(cursor);
    horizontalScrollBar()->setValue(horizontal);
    verticalScrollBar()->setValue(vertical);
    ensureCursorVisible();
    Q_EMIT realTextChanged();
}

void PasswdTextEdit::forward(QEvent* event)
{
    PasswdMask::forward(real_, event);
}

// Mouse events arrive from the viewport, in its coordinates; the hidden viewport
// hands them to its editor the same way.
void PasswdTextEdit::forwardMouse(QMouseEvent* event)
{
    const bool accepted = event->isAccepted();
    QCoreApplication::sendEvent(real_->viewport(), event);
    event->setAccepted(accepted);
    followCursor();
}

// The user acts on what is shown: the hidden cursor and selection follow the
// visible ones (line breaks, word boundaries and scrolling of the masked text may
// differ from the real text's), and the selection that other programs can paste is
// the masked one.
void PasswdTextEdit::followCursor()
{
    const QTextCursor shown = textCursor();
    QTextCursor real = real_->textCursor();
    const int end = real_->document()->characterCount() - 1;
    real.setPosition(qMin(shown.anchor(), end));
    real.setPosition(qMin(shown.position(), end), QTextCursor::KeepAnchor);
    real_->setTextCursor(real);
    PasswdMask::offerSelection(shown.selectedText());
}

void PasswdTextEdit::mousePressEvent(QMouseEvent* event)
{
    HTextEdit::mousePressEvent(event);
    forwardMouse(event);
}

void PasswdTextEdit::mouseReleaseEvent(QMouseEvent* event)
{
    HTextEdit::mouseReleaseEvent(event);
    forwardMouse(event);
}

void PasswdTextEdit::mouseDoubleClickEvent(QMouseEvent* event)
{
    HTextEdit::mouseDoubleClickEvent(event);
    forwardMouse(event);
}

void PasswdTextEdit::mouseMoveEvent(QMouseEvent* event)
{
    HTextEdit::mouseMoveEvent(event);
    forwardMouse(event);
}

void PasswdTextEdit::keyPressEvent(QKeyEvent* event)
{
    HTextEdit::keyPressEvent(event);
    // Copying is left to this field, which holds the masked text; cutting removes
    // the selection from the real text without copying it.
    if (event->matches(QKeySequence::Copy))
        return;
    if (event->matches(QKeySequence::Cut)) {
        QTextCursor real = real_->textCursor();
        if (!isReadOnly() && real.hasSelection())
            real.removeSelectedText();
        return;
    }
    real_->setReadOnly(isReadOnly());
    forward(event);
    followCursor();
}

// Text composed in an input method arrives here, not as key presses.
void PasswdTextEdit::inputMethodEvent(QInputMethodEvent* event)
{
    HTextEdit::inputMethodEvent(event);
    real_->setReadOnly(isReadOnly());
    forward(event);
    followCursor();
}

void PasswdTextEdit::keyReleaseEvent(QKeyEvent* event)
{
    HTextEdit::keyReleaseEvent(event);
    forward(event);
}

void PasswdTextEdit::moveEvent(QMoveEvent* event)
{
    HTextEdit::moveEvent(event);
    forward(event);
}

void PasswdTextEdit::resizeEvent(QResizeEvent* event)
{
    HTextEdit::resizeEvent(event);
    real_->setGeometry(geometry());
    forward(event);
}

// No menu: it would offer to copy the text out.
void PasswdTextEdit::contextMenuEvent(QContextMenuEvent* event)
{
    event->accept();
}
