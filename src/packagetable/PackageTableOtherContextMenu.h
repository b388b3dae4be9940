#pragma once

#include <QMenu>
#include <QPersistentModelIndex>

class QAction;

namespace PackageTable {

class Model;
class View;

// The menu of every column but Action: describe the row or browse its repository.
class OtherContextMenu final : public QMenu
{
    Q_OBJECT
    Q_DISABLE_COPY(OtherContextMenu)

public:
    OtherContextMenu(Model* model, View* view);

    // index: of the package model.
    void exec(const QModelIndex& index, const QPoint& pos);
    QAction* describeAction() const { return describe_; }
    QAction* browseAction() const { return browse_; }

public Q_SLOTS:
    void handleDescribeAction();
    void handleBrowseAction();

private:
    Model* model_;
    View* view_;
    QPersistentModelIndex index_;
    QAction* describe_;
    QAction* browse_;
};

} // namespace PackageTable
