#include "widgets/HItemDelegate.h"

HItemDelegate::HItemDelegate(QObject* parent)
    : QItemDelegate(parent)
{
}

void HItemDelegate::drawDisplay(QPainter* painter, const QStyleOptionViewItem& option,
                                const QRect& rect, const QString& text) const
{
    QStyleOptionViewItem unwrapped(option);
    unwrapped.features &= ~QStyleOptionViewItem::WrapText;
    QItemDelegate::drawDisplay(painter, unwrapped, rect, text);
}

void HItemDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    if (!(option.state & QStyle::State_HasFocus) || !index.data(Qt::DisplayRole).toString().isEmpty()) {
        QItemDelegate::paint(painter, option, index);
        return;
    }
    // The frame of an empty text would be a stray box below the check box.
    QStyleOptionViewItem unfocused(option);
    unfocused.state &= ~QStyle::State_HasFocus;
    QItemDelegate::paint(painter, unfocused, index);
    drawFocus(painter, option, option.rect.adjusted(1, 1, -1, -1));
}
