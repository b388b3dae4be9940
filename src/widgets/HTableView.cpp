#include "widgets/HTableView.h"

#include "widgets/ScreenLimit.h"

#include <QAbstractItemModel>
#include <QFontMetricsF>
#include <QHash>
#include <QHeaderView>
#include <QIcon>
#include <QItemDelegate>
#include <QItemSelectionModel>
#include <QScrollBar>
#include <QStyle>

#include <algorithm>
#include <vector>

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
    // reading what it shows.  Cells of plain text (nothing but a display text) are
    // gathered and measured last, widest first.
    QHash<QString, int> known;
    QHash<QString, int> plainRows;
    for (int row = 0; row < rows; ++row) {
        const QModelIndex index = source->index(row, column);
        const QAbstractItemDelegate* delegate = itemDelegateForIndex(index);
        QString key;
        if (qobject_cast<const QItemDelegate*>(delegate)) {
            const QVariant display = index.data(Qt::DisplayRole);
            const QVariant decoration = index.data(Qt::DecorationRole);
            const QVariant font = index.data(Qt::FontRole);
            const QVariant check = index.data(Qt::CheckStateRole);
            const QVariant size = index.data(Qt::SizeHintRole);
            if (!decoration.isValid() && !font.isValid() && !check.isValid() && !size.isValid()) {
                plainRows.insert(display.toString(), row);
                continue;
            }
            qint64 decorationKey = 0;
            if (decoration.canConvert<QIcon>())
                decorationKey = decoration.value<QIcon>().cacheKey();
            key = display.toString() + QChar(0) + QString::number(decoration.userType()) + QChar(0)
                + QString::number(decorationKey) + QChar(0) + font.toString() + QChar(0)
                + check.toString() + QChar(0) + size.toString();
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
    hint = qMax(hint, widestPlainText(column, option, plainRows));
    return showGrid() ? hint + 1 : hint;
}

int HTableView::widestPlainText(int column, const QStyleOptionViewItem& option,
                                const QHash<QString, int>& plainRows) const
{
    if (plainRows.isEmpty())
        return 0;
    // A text is never wider than the sum of its characters' own advances plus a little
    // kerning; laid out widest bound first, the texts whose bound cannot beat the widest
    // cell measured need no layout.
    const QFontMetricsF metrics(option.font);
    qreal ascii[128];
    for (int c = 0; c < 128; ++c)
        ascii[c] = metrics.horizontalAdvance(QChar(c));
    QHash<char16_t, qreal> other;
    std::vector<std::pair<qreal, QHash<QString, int>::const_iterator>> bounds;
    bounds.reserve(size_t(plainRows.size()));
    for (auto it = plainRows.cbegin(); it != plainRows.cend(); ++it) {
        qreal bound = 0;
        for (const QChar c : it.key()) {
            if (c.unicode() < 128) {
                bound += ascii[c.unicode()];
            } else {
                auto found = other.find(c.unicode());
                if (found == other.end())
                    found = other.insert(c.unicode(), metrics.horizontalAdvance(c));
                bound += *found;
            }
        }
        bounds.emplace_back(bound, it);
    }
    std::sort(bounds.begin(), bounds.end(),
              [](const auto& a, const auto& b) { return a.first > b.first; });
    const qreal slack = 2 + metrics.height() / 4;
    int widest = 0;
    qreal margin = 0;
    for (const auto& [bound, it] : bounds) {
        if (widest > 0 && bound + margin + slack < widest)
            break;
        const QModelIndex index = model()->index(it.value(), column);
        const int width = itemDelegateForIndex(index)->sizeHint(option, index).width();
        // What the delegate adds around the text, taken from the first one laid out.
        if (widest == 0)
            margin = qMax<qreal>(0, width - metrics.horizontalAdvance(it.key())) + 1;
        widest = qMax(widest, width);
    }
    return widest;
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
