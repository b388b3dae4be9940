#include "packagetable/PackageTableOtherContextMenu.h"

#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableView.h"

namespace PackageTable {

OtherContextMenu::OtherContextMenu(Model* model, View* view)
    : QMenu(view)
    , model_(model)
    , view_(view)
{
    describe_ = addAction(tr("&Describe"), this, &OtherContextMenu::handleDescribeAction);
    browse_ = addAction(tr("Browse Repository"), this, &OtherContextMenu::handleBrowseAction);
}

void OtherContextMenu::exec(const QModelIndex& index, const QPoint& pos)
{
    index_ = index;
    QMenu::exec(pos);
}

void OtherContextMenu::handleDescribeAction()
{
    model_->describe(index_, view_);
}

void OtherContextMenu::handleBrowseAction()
{
    model_->browse(index_, view_);
}

} // namespace PackageTable
