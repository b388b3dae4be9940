#include "widgets/HTableView.h"

#include "widgets/ScreenLimit.h"

#include <QAbstractItemModel>
#include <QHash>
#include <QHeaderView>
#include <QIcon>
#include <QItemDelegate>
#include <QItemSelectionModel>
#include <QScrollBar>
#include <QStyle>

HTableView::HTableView(QStyleOptionViewItem::Position decorationPosition, int minRows,
                       int maxRows, QWidget* parent)
    : QTableView(parent)
    , decorationPosition_(decorationPosition)
    , minRows_(minRows)
    , maxRows_(maxRows)
{
}

void HTableView::initViewItemOption(QStyleOptionViewItem* option) const
{
    QTableView::initViewItemOption(option);
    option->decorationPosition = decorationPosition_;
}

QSize HTableView::sizeHint() const
{
    if (!rowsFrozen_) {
        // The view keeps the height it was first given room for; later catalogues scroll.
        const int rows = model() ? model()->rowCount() : 0;
        minRows_ = maxRows_ = qBound(minRows_, rows, maxRows_);
        rowsFrozen_ = true;
    }
    const int frame = frameWidth();
    const int extraFrame = style()->styleHint(QStyle::SH_ScrollView_FrameOnlyAroundContents)
        ? 2 * style()->pixelMetric(QStyle::PM_DefaultFrameWidth)
        : 0;

    int width = frame;
    if (verticalHeader()->isVisible())
        width += verticalHeader()->width();
    const int columns = model() ? model()->columnCount() : 0;
    if (columns > 0)
        width += columnViewportPosition(columns - 1) + columnWidth(columns - 1);
    width += extraFrame + verticalScrollBar()->sizeHint().width() + frame;

    int height = frame;
    if (horizontalHeader()->isVisible())
        height += horizontalHeader()->height();
    // Before the first row exists, a row is as high as the header makes new ones.
    const int rowHigh = model() && model()->rowCount() > 0 ? rowHeight(0)
                                                           : verticalHeader()->defaultSectionSize();
    height += qMax(0, rowViewportPosition(0)) + rowHigh * minRows_ + frame;
    return QSize(width, height);
}

void HTableView::sortByColumn(int column)
{
    if (!model())
        return;
    QHeaderView* header = horizontalHeader();
    const Qt::SortOrder order = header->sortIndicatorSection() == column
        ? header->sortIndicatorOrder()
        : Qt::AscendingOrder;
    header->setSortIndicator(column, order);
    model()->sort(column, order);
}

void HTableView::resizeColumnsToContents()
{
    QTableView::resizeColumnsToContents();
    // A stretched last column is as wide as the room left to it, not as its contents:
    // the window grows by what it lacks.
    int lacking = 0;
    const int last = model() ? model()->columnCount() - 1 : -1;
    if (last >= 0 && horizontalHeader()->stretchLastSection()) {
        const int needed = qMax(sizeHintForColumn(last), horizontalHeader()->sectionSizeHint(last));
        lacking = qMax(0, needed - columnWidth(last));
    }
    for (QWidget* widget = this; widget; widget = widget->parentWidget())
        widget->updateGeometry();
    QWidget* top = window();
    const QSize wanted = ScreenLimit::bound(top, top->sizeHint() + QSize(lacking, 0));
    top->resize(wanted.expandedTo(top->size()));
}

int HTableView::sizeHintForColumn(int column) const
{
    const QAbstractItemModel* source = model();
    if (!source)
        return -1;
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    // Cells are drawn on one line (HItemDelegate); measured with wrapping, a cell whose
    // decoration sits above its text is only as wide as its longest word.
    option.features &= ~QStyleOptionViewItem::WrapText;
    int hint = 0;
    const int rows = source->rowCount();
    // Cells that show the same thing have the same size: on a table of tens of thousands
    // of rows, most of a column repeats, and laying a cell out costs far more than
    // reading what it shows.
    QHash<QString, int> known;
    for (int row = 0; row < rows; ++row) {
        const QModelIndex index = source->index(row, column);
        const QAbstractItemDelegate* delegate = itemDelegateForIndex(index);
        QString key;
        if (qobject_cast<const QItemDelegate*>(delegate)) {
            const QVariant decoration = index.data(Qt::DecorationRole);
            qint64 decorationKey = 0;
            if (decoration.canConvert<QIcon>())
                decorationKey = decoration.value<QIcon>().cacheKey();
            key = index.data(Qt::DisplayRole).toString() + QChar(0)
                + QString::number(decoration.userType()) + QChar(0)
                + QString::number(decorationKey) + QChar(0)
                + index.data(Qt::FontRole).toString() + QChar(0)
                + index.data(Qt::CheckStateRole).toString() + QChar(0)
                + index.data(Qt::SizeHintRole).toString();
            const auto found = known.constFind(key);
            if (found != known.constEnd()) {
                hint = qMax(hint, *found);
                continue;
            }
        }
        const int width = delegate->sizeHint(option, index).width();
        if (!key.isNull())
            known.insert(key, width);
        hint = qMax(hint, width);
    }
    return showGrid() ? hint + 1 : hint;
}

QModelIndexList HTableView::selectedRows() const
{
    QModelIndexList rows;
    if (!selectionModel() || !model())
        return rows;
    const QItemSelection selection = selectionModel()->selection();
    for (const QItemSelectionRange& range : selection) {
        for (int row = range.top(); row <= range.bottom(); ++row) {
            const QModelIndex index = model()->index(row, range.left(), range.parent());
            if (index.flags() & Qt::ItemIsSelectable)
                rows.append(index);
        }
    }
    return rows;
}
