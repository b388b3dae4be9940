#include "packagetable/PackageTableView.h"

#include "packagetable/PackageTableActionContextMenu.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableOtherContextMenu.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "widgets/HItemDelegate.h"
#include "yumio/PackageEntry.h"

#include <QDropEvent>
#include <QEvent>
#include <QMimeData>
#include <QUrl>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QHeaderView>
#include <QSet>
#include <QStyle>

#include <algorithm>
#include <climits>
#include <vector>

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
    // Package files may be dropped on the table.
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
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
    // Widths fit every row of the catalogue, listed or not: sizeHintForColumn() reads
    // the package model itself, so the listing stays as it is.
    HTableView::resizeColumnsToContents();
}

namespace {

// How many of the widest estimated texts and of the spread rows are laid out.
constexpr size_t widestRows = 12;
constexpr int sampleRows = 64;

} // namespace

static_assert(Model::ColumnCount == 9, "one list of rows per column");

void View::findWidthRows() const
{
    // Laying out a cell costs far more than reading its text: every text is read, once
    // per catalogue, and only a few dozen cells per column are laid out.  Widths are
    // estimated from the advances of single characters, any character beyond ASCII
    // counted as the font's widest.
    const int rows = model_->rowCount();
    std::vector<int> common;
    const int step = qMax(1, rows / sampleRows);
    for (int row = 0; row < rows; row += step)
        common.push_back(row);
    QSet<int> combinations;
    const QFontMetrics metrics(font());
    int advance[128];
    for (int c = 0; c < 128; ++c)
        advance[c] = metrics.horizontalAdvance(QChar(c));
    const int widest = metrics.maxWidth();
    // Estimate and row, widest first, per text column.
    std::vector<std::pair<int, int>> top[Model::ColumnCount];
    for (int row = 0; row < rows; ++row) {
        const Package::Entry* e = model_->entry(row);
        if (!e)
            continue;
        const int combination = int(e->action) | int(e->state) << 4 | int(e->kind) << 8;
        if (!combinations.contains(combination)) {
            combinations.insert(combination);
            common.push_back(row);
        }
        for (int column = Model::NameColumn; column < Model::ColumnCount; ++column) {
            const QString text = Model::displayText(*e, column);
            int estimate = 0;
            for (const QChar c : text)
                estimate += c.unicode() < 128 ? advance[c.unicode()] : widest;
            std::vector<std::pair<int, int>>& best = top[column];
            if (best.size() == widestRows && estimate <= best.back().first)
                continue;
            const auto at = std::upper_bound(best.begin(), best.end(), estimate,
                                             [](int value, const std::pair<int, int>& item) { return value > item.first; });
            best.insert(at, {estimate, row});
            if (best.size() > widestRows)
                best.pop_back();
        }
    }
    for (int column = 0; column < Model::ColumnCount; ++column) {
        widthRows_[column] = common;
        for (const auto& item : top[column])
            widthRows_[column].push_back(item.second);
    }
    widthRowsGeneration_ = model_->catalogueGeneration();
    widthRowsFont_ = font().toString();
}

int View::sizeHintForColumn(int column) const
{
    if (!model_ || column < 0 || column >= Model::ColumnCount)
        return HTableView::sizeHintForColumn(column);
    // Actions change without a new catalogue, but every action's icon has the same
    // size: the rows found for the catalogue still hold the widest cells.
    if (widthRowsGeneration_ != model_->catalogueGeneration() || widthRowsFont_ != font().toString())
        findWidthRows();
    QStyleOptionViewItem option;
    initViewItemOption(&option);
    option.features &= ~QStyleOptionViewItem::WrapText;
    const QAbstractItemDelegate* delegate = itemDelegateForColumn(column);
    if (!delegate)
        delegate = itemDelegate();
    const int rows = model_->rowCount();
    int hint = 0;
    for (const int row : widthRows_[column]) {
        if (row < rows)
            hint = qMax(hint, delegate->sizeHint(option, model_->index(row, column)).width());
    }
    return showGrid() ? hint + 1 : hint;
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

namespace {

// The local ".rpm" files among what is dragged.
QStringList packageFiles(const QMimeData* mime)
{
    QStringList paths;
    if (!mime || !mime->hasUrls())
        return paths;
    for (const QUrl& url : mime->urls())
        if (url.isLocalFile() && url.toLocalFile().endsWith(QLatin1String(".rpm"), Qt::CaseInsensitive))
            paths << url.toLocalFile();
    return paths;
}

} // namespace

void View::dragEnterEvent(QDragEnterEvent* event)
{
    if (packageFiles(event->mimeData()).isEmpty())
        event->ignore();
    else
        event->acceptProposedAction();
}

void View::dragMoveEvent(QDragMoveEvent* event)
{
    if (packageFiles(event->mimeData()).isEmpty())
        event->ignore();
    else
        event->acceptProposedAction();
}

void View::dropEvent(QDropEvent* event)
{
    const QStringList paths = packageFiles(event->mimeData());
    if (paths.isEmpty()) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
    Q_EMIT packageFilesDropped(paths);
}

void View::fitActionColumn()
{
    int width = columnWidth(Model::ActionColumn);
    const QFontMetrics metrics(font());
    const int margin = 2 * style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 8;
    for (int row = 0; row < model_->rowCount(); ++row) {
        const QString text = model_->index(row, Model::ActionColumn).data().toString();
        if (!text.isEmpty())
            width = std::max(width, metrics.horizontalAdvance(text) + margin);
    }
    setColumnWidth(Model::ActionColumn, width);
}

} // namespace PackageTable
