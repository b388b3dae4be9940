#include "repo/RepoEditorView.h"

#include "repo/RepoEditorContextMenu.h"
#include "repo/RepoEditorModel.h"
#include "repo/RepoEditorSortFilterProxyModel.h"
#include "widgets/HItemDelegate.h"

#include <QHeaderView>
#include <QKeyEvent>

namespace RepoEditor {

View::View(Model* model, SortFilterProxyModel* proxy, QWidget* parent)
    : HTableView(QStyleOptionViewItem::Top, 8, 20, parent)
    , model_(model)
    , proxy_(proxy)
{
    proxy_->setSourceModel(model_);
    setModel(proxy_);
    setItemDelegate(new HItemDelegate(this));
    setShowGrid(false);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setAlternatingRowColors(true);
    setContextMenuPolicy(Qt::CustomContextMenu);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    verticalHeader()->hide();
    auto* header = new QHeaderView(Qt::Horizontal, this);
    header->setSectionsClickable(true);
    header->setSectionsMovable(true);
    setHorizontalHeader(header);
    // After the header is the view's, which would hide the indicator again.
    header->setSortIndicatorShown(true);
    header->setStretchLastSection(true);
    model_->setViewFont(font());

    connect(header, &QHeaderView::sectionClicked, this, &View::handleHorizontalHeaderClicked);
    connect(this, &QAbstractItemView::clicked, this, &View::handleClicked);
    connect(this, &QAbstractItemView::doubleClicked, this, &View::handleDoubleClicked);
    connect(this, &QWidget::customContextMenuRequested, this, &View::handleCustomContextMenuRequested);
}

int View::currentRow() const
{
    const QModelIndex current = proxy_->mapToSource(currentIndex());
    return current.isValid() ? current.row() : -1;
}

void View::setCurrentRow(int row)
{
    if (row < 0 || row >= model_->rowCount()) {
        selectionModel()->clear();
        return;
    }
    const QModelIndex index = proxy_->mapFromSource(model_->index(row, Model::IdColumn));
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    scrollTo(index);
}

QList<int> View::selectedRows() const
{
    QList<int> rows;
    for (const QModelIndex& index : HTableView::selectedRows()) {
        const int row = proxy_->mapToSource(index).row();
        if (row >= 0 && !rows.contains(row))
            rows.append(row);
    }
    return rows;
}

void View::requestEdit(int row)
{
    setCurrentRow(row);
    Q_EMIT editRequested(row);
}

void View::handleHorizontalHeaderClicked(int column)
{
    sortByColumn(column);
}

void View::handleClicked(const QModelIndex& index)
{
    const QModelIndex source = proxy_->mapToSource(index);
    if (source.column() == Model::UseColumn)
        model_->toggleUse(source);
    else if (source.column() == Model::EnabledColumn)
        model_->toggleEnabled(source);
}

void View::handleDoubleClicked(const QModelIndex& index)
{
    const QModelIndex source = proxy_->mapToSource(index);
    if (source.isValid())
        requestEdit(source.row());
}

void View::keyPressEvent(QKeyEvent* event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && !(event->modifiers() & ~Qt::KeypadModifier) && currentRow() >= 0) {
        requestEdit(currentRow());
        return;
    }
    HTableView::keyPressEvent(event);
}

void View::handleCustomContextMenuRequested(const QPoint& pos)
{
    const QModelIndex source = proxy_->mapToSource(indexAt(pos));
    if (!source.isValid())
        return;
    if (!contextMenu_)
        contextMenu_ = new ContextMenu(model_, this);
    contextMenu_->exec(source, viewport()->mapToGlobal(pos));
}

void View::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    HTableView::currentChanged(current, previous);
    const int row = proxy_->mapToSource(current).row();
    if (row != proxy_->mapToSource(previous).row())
        Q_EMIT currentRowChanged(row);
}

} // namespace RepoEditor
