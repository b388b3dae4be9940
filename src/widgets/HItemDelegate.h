#pragma once

#include <QItemDelegate>

// An item delegate that never wraps text: long texts are elided on one line.
class HItemDelegate : public QItemDelegate
{
    Q_OBJECT
    Q_DISABLE_COPY(HItemDelegate)

public:
    explicit HItemDelegate(QObject* parent = nullptr);

protected:
    void drawDisplay(QPainter* painter, const QStyleOptionViewItem& option, const QRect& rect,
                     const QString& text) const override;
};
