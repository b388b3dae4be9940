#include "packagetable/PackageTableActionContextMenu.h"

#include "app/Share.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableView.h"

#include "yumio/YumIOVersions.h"

#include <QItemSelectionModel>

namespace PackageTable {

ActionContextMenu::ActionContextMenu(Model* model, View* view)
    : QMenu(view)
    , model_(model)
    , view_(view)
{
    update_ = addAction(QIcon(Share::absolute(QStringLiteral("icons/update.png"))), tr("&Update"),
                        this, &ActionContextMenu::handleUpdateAction);
    install_ = addAction(QIcon(Share::absolute(QStringLiteral("icons/install.png"))),
                         tr("&Install"), this, &ActionContextMenu::handleInstallAction);
    remove_ = addAction(QIcon(Share::absolute(QStringLiteral("icons/remove.png"))), tr("&Remove"),
                        this, &ActionContextMenu::handleRemoveAction);
    none_ = addAction(tr("&No Action"), this, &ActionContextMenu::handleNoneAction);
    addSeparator();
    downgrade_ = addMenu(tr("Downgrade To"));
    reinstall_ = addAction(tr("Reinstall"), this, &ActionContextMenu::handleReinstallAction);
}

void ActionContextMenu::prepare(const QModelIndex& index)
{
    index_ = index;
    QList<int> rows;
    if (view_->selectionModel() && view_->selectionModel()->hasSelection()) {
        for (const QModelIndex& selected : view_->selectedRows())
            rows.append(selected.row());
    } else {
        rows.append(index.row());
    }
    bool available = false;
    bool outOfDate = false;
    bool installed = false;
    for (const int row : rows) {
        if (!model_->entry(row))
            continue;
        switch (model_->getState(row)) {
        case Package::AvailableForUpdate:
            outOfDate = true;
            break;
        case Package::AvailableForInstallation:
            available = true;
            break;
        case Package::Installed:
            installed = true;
            break;
        }
    }
    install_->setEnabled(available);
    update_->setEnabled(outOfDate);
    remove_->setEnabled(outOfDate || installed);
    none_->setEnabled(true);

    // Other versions concern the row the menu was opened on.
    downgrade_->clear();
    Package::Entry* entry = model_->entry(index.row());
    YumIOVersions versions(model_->yumIO());
    const bool hasInstalled = index.isValid() && YumIOVersions::installedOf(entry);
    const QStringList older = hasInstalled ? versions.olderVersions(entry) : QStringList();
    for (const QString& verRel : older) {
        connect(downgrade_->addAction(verRel), &QAction::triggered, this, [this, verRel] {
            model_->setVersionAction(index_, Package::Downgrade, verRel);
            view_->fitActionColumn();
        });
    }
    downgrade_->setEnabled(!older.isEmpty());
    reinstall_->setEnabled(hasInstalled && versions.reinstallable(entry));
}

void ActionContextMenu::exec(const QModelIndex& index, const QPoint& pos)
{
    prepare(index);
    QMenu::exec(pos);
}

void ActionContextMenu::handleUpdateAction()
{
    handleAction(Package::Update);
}

void ActionContextMenu::handleInstallAction()
{
    handleAction(Package::Install);
}

void ActionContextMenu::handleRemoveAction()
{
    handleAction(Package::Remove);
}

void ActionContextMenu::handleNoneAction()
{
    handleAction(Package::None);
}

void ActionContextMenu::handleReinstallAction()
{
    model_->setAction(index_, Package::Reinstall);
    view_->fitActionColumn();
}

void ActionContextMenu::handleAction(Package::Action action)
{
    if (!view_->selectionModel() || !view_->selectionModel()->hasSelection()) {
        model_->setAction(index_, action);
        return;
    }
    for (const QModelIndex& selected : view_->selectedRows()) {
        if (!model_->entry(selected.row()))
            continue;
        bool fits = action == Package::None;
        switch (model_->getState(selected.row())) {
        case Package::AvailableForInstallation:
            fits = fits || action == Package::Install;
            break;
        case Package::Installed:
            fits = fits || action == Package::Remove;
            break;
        case Package::AvailableForUpdate:
            fits = fits || action == Package::Update || action == Package::Remove;
            break;
        }
        if (fits)
            model_->setAction(selected, action);
    }
}

} // namespace PackageTable
