#pragma once

#include <QMenu>
#include <QPersistentModelIndex>

namespace RepoEditor {

class Model;
class View;

// Edit and Browse Repository for the row under the cursor.
class ContextMenu final : public QMenu
{
    Q_OBJECT
    Q_DISABLE_COPY(ContextMenu)

public:
    ContextMenu(Model* model, View* view);

    // index is a model (source) index.
    void exec(const QModelIndex& index, const QPoint& pos);

public Q_SLOTS:
    void handleEditAction();
    void handleBrowseAction();

private:
    Model* model_;
    View* view_;
    QPersistentModelIndex index_;
};

} // namespace RepoEditor
