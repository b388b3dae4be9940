#pragma once

#include "yumio/Package.h"

#include <QMenu>
#include <QPersistentModelIndex>

class QAction;

namespace PackageTable {

class Model;
class View;

// The Action column's menu: sets the action of the row, or of every selected row that
// accepts it.
class ActionContextMenu final : public QMenu
{
    Q_OBJECT
    Q_DISABLE_COPY(ActionContextMenu)

public:
    ActionContextMenu(Model* model, View* view);

    // index: of the package model.
    void exec(const QModelIndex& index, const QPoint& pos);
    // What exec() does before the menu runs; the menu's state can be read afterwards.
    void prepare(const QModelIndex& index);
    QAction* updateAction() const { return update_; }
    QAction* installAction() const { return install_; }
    QAction* removeAction() const { return remove_; }
    QAction* noneAction() const { return none_; }
    // The menu of older versions of the row's installed package, and "Reinstall".
    QMenu* downgradeMenu() const { return downgrade_; }
    QAction* reinstallAction() const { return reinstall_; }

public Q_SLOTS:
    void handleUpdateAction();
    void handleInstallAction();
    void handleRemoveAction();
    void handleNoneAction();
    void handleReinstallAction();

private:
    void handleAction(Package::Action action);

    Model* model_;
    View* view_;
    QPersistentModelIndex index_;
    QAction* update_;
    QAction* install_;
    QAction* remove_;
    QAction* none_;
    QMenu* downgrade_;
    QAction* reinstall_;
};

} // namespace PackageTable
