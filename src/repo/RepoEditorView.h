#pragma once

#include "widgets/HTableView.h"

class QPoint;

namespace RepoEditor {

class ContextMenu;
class Model;
class SortFilterProxyModel;

// The repository table: a click in Sess or Perm toggles it, a double click edits the
// row, the context menu offers Edit and Browse Repository.  Rows are the model's
// (source) rows wherever this class names one.
class View final : public HTableView
{
    Q_OBJECT
    Q_DISABLE_COPY(View)

public:
    View(Model* model, SortFilterProxyModel* proxy, QWidget* parent = nullptr);

    // The model row of the current index, or -1.
    int currentRow() const;
    // -1 leaves no row current.
    void setCurrentRow(int row);
    // The model rows of the selection, each once, in no particular order.
    QList<int> selectedRows() const;
    // Asks for the row to be edited (editRequested).
    void requestEdit(int row);

Q_SIGNALS:
    void editRequested(int row);
    void currentRowChanged(int row);

public Q_SLOTS:
    void handleHorizontalHeaderClicked(int column);
    void handleClicked(const QModelIndex& index);
    void handleDoubleClicked(const QModelIndex& index);
    void handleCustomContextMenuRequested(const QPoint& pos);

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    // Enter edits the current row, as a double click does.
    void keyPressEvent(QKeyEvent* event) override;

private:
    Model* model_;
    SortFilterProxyModel* proxy_;
    ContextMenu* contextMenu_ = nullptr;
};

} // namespace RepoEditor
