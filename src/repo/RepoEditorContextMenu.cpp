#include "repo/RepoEditorContextMenu.h"

#include "repo/RepoEditorModel.h"
#include "repo/RepoEditorView.h"

namespace RepoEditor {

ContextMenu::ContextMenu(Model* model, View* view)
    : QMenu(view)
    , model_(model)
    , view_(view)
{
    addAction(tr("Edit"), this, &ContextMenu::handleEditAction);
    addAction(tr("Browse Repository"), this, &ContextMenu::handleBrowseAction);
}

void ContextMenu::exec(const QModelIndex& index, const QPoint& pos)
{
    index_ = index;
    QMenu::exec(pos);
}

void ContextMenu::handleEditAction()
{
    if (index_.isValid())
        view_->requestEdit(index_.row());
}

void ContextMenu::handleBrowseAction()
{
    if (index_.isValid())
        model_->browse(index_, view_);
}

} // namespace RepoEditor
