#pragma once

#include <QItemDelegate>

// An item delegate that never wraps text: long texts are elided on one line.  A cell
// without text (a check box or an icon alone) shows its focus frame around the cell.
class HItemDelegate : public QItemDelegate
{
    Q_OBJECT
    Q_DISABLE_COPY(HItemDelegate)

public:
    explicit HItemDelegate(QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    void drawDisplay(QPainter* painter, const QStyleOptionViewItem& option, const QRect& rect,
                     const QString& text) const override;
};
