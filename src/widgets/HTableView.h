#pragma once

#include <QModelIndexList>
#include <QtContainerFwd>
#include <QStyleOptionViewItem>
#include <QTableView>

// A table view that sizes itself from its columns and a number of rows fixed at its
// first size hint, and that can fit its window around its columns.
class HTableView : public QTableView
{
    Q_OBJECT
    Q_DISABLE_COPY(HTableView)

public:
    HTableView(QStyleOptionViewItem::Position decorationPosition, int minRows, int maxRows,
               QWidget* parent);

    QSize sizeHint() const override;
    void sortByColumn(int column);
    int sizeHintForColumn(int column) const override;
    // One index per selected row, in the left column of its selection range.
    QModelIndexList selectedRows() const;

public Q_SLOTS:
    virtual void resizeColumnsToContents();

protected:
    void initViewItemOption(QStyleOptionViewItem* option) const override;

private:
    // The widest delegate size hint of cells that show only a text, given each distinct
    // text with one of its rows.
    int widestPlainText(int column, const QStyleOptionViewItem& option,
                        const QHash<QString, int>& plainRows) const;

    QStyleOptionViewItem::Position decorationPosition_;
    mutable int minRows_;
    mutable int maxRows_;
    mutable bool rowsFrozen_ = false;
};
