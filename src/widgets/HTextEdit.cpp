#include "widgets/HTextEdit.h"

#include <QApplication>
#include <QFocusEvent>
#include <QTextBlockFormat>
#include <QTextCursor>

#include "widgets/ScreenLimit.h"

HTextEdit::HTextEdit(QWidget* parent)
    : QTextEdit(parent)
{
}

HTextEdit::HTextEdit(int columns, int rows, QWidget* parent)
    : QTextEdit(parent)
    , columns_(columns)
    , rows_(rows)
{
}

QSize HTextEdit::sizeHint() const
{
    QSize size = QTextEdit::sizeHint();
    const int frame = 2 * frameWidth();
    if (columns_ >= 0)
        size.setWidth(frame + columns_ * fontMetrics().horizontalAdvance(QLatin1Char('n')));
    if (rows_ >= 0)
        size.setHeight(frame + rows_ * fontMetrics().lineSpacing());
    return ScreenLimit::bound(this, size);
}

void HTextEdit::appendCompact(const QString& text)
{
    append(text);
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.movePosition(QTextCursor::End);
    QTextBlockFormat format = cursor.blockFormat();
    format.setTopMargin(0);
    format.setBottomMargin(0);
    cursor.setBlockFormat(format);
    cursor.endEditBlock();
}

void HTextEdit::focusOutEvent(QFocusEvent* event)
{
    // Opening the editor's own context menu is no end of editing; the toolkit
    // parents that menu to the viewport.
    const QWidget* popup = QApplication::activePopupWidget();
    const bool ownPopup =
        popup && (popup->parentWidget() == this || popup->parentWidget() == viewport());
    if (event->reason() != Qt::PopupFocusReason && !ownPopup)
        Q_EMIT editingFinished();
    QTextEdit::focusOutEvent(event);
}
