#include "packagetable/PackageTableView.h"

#include "packagetable/PackageTableActionContextMenu.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableOtherContextMenu.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "widgets/HItemDelegate.h"

#include <QEvent>
#include <QKeyEvent>
#include <QHeaderView>
#include <QStyle>

#include <climits>

namespace PackageTable {

View::View(Model* model, SortFilterProxyModel* proxy, QWidget* parent)
    : HTableView(QStyleOptionViewItem::Left, 10, INT_MAX, parent)
    , model_(model)
    , proxy_(proxy)
{
    setItemDelegate(new HItemDelegate(this));
    setModel(proxy);
    setShowGrid(false);
    setGridStyle(Qt::NoPen);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setAlternatingRowColors(true);
    setContextMenuPolicy(Qt::CustomContextMenu);
    verticalHeader()->hide();
    // Rows as high as a line of text or a small icon, whichever is higher: a catalogue
    // of thousands of rows is read a screenful at a time.
    const int iconSize = style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, this);
    verticalHeader()->setDefaultSectionSize(qMax(fontMetrics().height(), iconSize) + 6);
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    auto* header = new QHeaderView(Qt::Horizontal, this);
    header->setSectionsClickable(true);
    header->setSectionsMovable(true);
    setHorizontalHeader(header);
    // The order chosen shows in the header (set after the header is the view's, which
    // hides the indicator of a view that does not sort itself); the last column takes
    // the room left over.
    header->setSortIndicatorShown(true);
    header->setStretchLastSection(true);
    HTableView::sortByColumn(Model::KindColumn);
    proxy_->setFilterKeyColumn(Model::KindColumn);

    connect(header, &QHeaderView::sectionClicked, this, &View::handleHorizontalHeaderClicked);
    connect(this, &QAbstractItemView::clicked, this, &View::handleActivated);
    connect(this, &QWidget::customContextMenuRequested, this,
            &View::handleCustomContextMenuRequested);
    connect(this, &QAbstractItemView::doubleClicked, this, &View::handleDoubleClicked);
}

QModelIndexList View::selectedRows() const
{
    QModelIndexList rows = HTableView::selectedRows();
    for (QModelIndex& index : rows)
        index = proxy_->mapToSource(index);
    return rows;
}

void View::resizeColumnsToContents()
{
    // Widths fit every row of the catalogue, listed or not.
    const bool filtering = proxy_->getFilter();
    proxy_->setFilter(false);
    HTableView::resizeColumnsToContents();
    proxy_->setFilter(filtering);
}

void View::describe()
{
    model_->describe(proxy_->mapToSource(currentIndex()), this);
}

void View::handleHorizontalHeaderClicked(int column)
{
    HTableView::sortByColumn(column);
    proxy_->setFilterKeyColumn(column);
}

void View::handleActivated(const QModelIndex& index)
{
    if (index.column() != Model::ActionColumn)
        return;
    const QModelIndex source = proxy_->mapToSource(index);
    model_->toggleAction(source);
    Q_EMIT stateChanged(source.row());
}

void View::handleDoubleClicked(const QModelIndex& index)
{
    // A double click on the Action cell is two steps of the action, not a description.
    if (index.isValid() && index.column() != Model::ActionColumn)
        describe();
}

void View::handleCustomContextMenuRequested(const QPoint& pos)
{
    const QModelIndex source = proxy_->mapToSource(indexAt(pos));
    const QPoint global = viewport()->mapToGlobal(pos);
    if (source.column() != Model::ActionColumn) {
        if (!otherMenu_)
            otherMenu_ = new OtherContextMenu(model_, this);
        otherMenu_->exec(source, global);
        return;
    }
    if (!actionMenu_)
        actionMenu_ = new ActionContextMenu(model_, this);
    actionMenu_->exec(source, global);
    Q_EMIT stateChanged(-1);
}

void View::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    HTableView::currentChanged(current, previous);
    const int currentRow = proxy_->mapToSource(current).row();
    const int previousRow = proxy_->mapToSource(previous).row();
    if (currentRow != previousRow)
        Q_EMIT currentChanged(currentRow, previousRow);
}

void View::changeEvent(QEvent* event)
{
    HTableView::changeEvent(event);
    if (event->type() == QEvent::EnabledChange)
        model_->setEnabled(isEnabled());
}

void View::keyPressEvent(QKeyEvent* event)
{
    const QModelIndex current = currentIndex();
    if (!current.isValid() || event->modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier)) {
        HTableView::keyPressEvent(event);
        return;
    }
    const QModelIndex action = current.siblingAtColumn(Model::ActionColumn);
    switch (event->key()) {
    case Qt::Key_Space:
        if (event->modifiers() != Qt::NoModifier)
            break;
        handleActivated(action);
        return;
    case Qt::Key_Delete:
        if (event->modifiers() != Qt::NoModifier)
            break;
        // As "Remove" from the action menu: the selected rows that can be removed.
        if (!actionMenu_)
            actionMenu_ = new ActionContextMenu(model_, this);
        actionMenu_->prepare(proxy_->mapToSource(current));
        if (actionMenu_->removeAction()->isEnabled()) {
            actionMenu_->handleRemoveAction();
            Q_EMIT stateChanged(-1);
        }
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        describe();
        return;
    case Qt::Key_F10:
        if (event->modifiers() != Qt::ShiftModifier)
            break;
        Q_FALLTHROUGH();
    case Qt::Key_Menu:
        scrollTo(action);
        handleCustomContextMenuRequested(visualRect(action).center());
        return;
    default:
        break;
    }
    HTableView::keyPressEvent(event);
}

} // namespace PackageTable
