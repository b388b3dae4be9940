#pragma once

#include <vector>

#include "widgets/HTableView.h"

namespace PackageTable {

class ActionContextMenu;
class Model;
class OtherContextMenu;
class SortFilterProxyModel;

// The filtered, sorted catalogue; clicks in the Action column step a row's action, right
// clicks open the action menu (Action column) or the other menu.  From the keyboard:
// Space steps the current row's action, Delete marks Remove, Enter describes, the Menu
// key opens the action menu at the current row.
class View final : public HTableView
{
    Q_OBJECT
    Q_DISABLE_COPY(View)

public:
    View(Model* model, SortFilterProxyModel* proxy, QWidget* parent);

    Model* packageModel() const { return model_; }
    SortFilterProxyModel* proxy() const { return proxy_; }
    // The selected rows as indices of the package model.
    QModelIndexList selectedRows() const;
    // The menus, once opened.
    ActionContextMenu* actionMenu() const { return actionMenu_; }
    OtherContextMenu* otherMenu() const { return otherMenu_; }
    // The widest cell of the column over every row of the catalogue, listed or not,
    // measured on a bounded set of rows: a spread sample, one row of each combination
    // of action, state and kind, and the rows whose texts are estimated the widest.
    int sizeHintForColumn(int column) const override;

Q_SIGNALS:
    void currentChanged(int currentRow, int previousRow);
    void stateChanged(int row);
    // Package files (".rpm") were dropped on the table.
    void packageFilesDropped(const QStringList& paths);

public Q_SLOTS:
    void resizeColumnsToContents() override;
    // Widens the Action column to the texts of the actions that name themselves.
    void fitActionColumn();
    void describe();
    void handleHorizontalHeaderClicked(int column);
    void handleActivated(const QModelIndex& index);
    void handleCustomContextMenuRequested(const QPoint& pos);
    void handleDoubleClicked(const QModelIndex& index);

protected Q_SLOTS:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

protected:
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    // Rows worth laying out per column, kept for one catalogue and font.
    void findWidthRows() const;

    Model* model_;
    SortFilterProxyModel* proxy_;
    mutable std::vector<int> widthRows_[9];
    mutable quint64 widthRowsGeneration_ = ~quint64(0);
    mutable QString widthRowsFont_;
    ActionContextMenu* actionMenu_ = nullptr;
    OtherContextMenu* otherMenu_ = nullptr;
};

} // namespace PackageTable
