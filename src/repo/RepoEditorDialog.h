#pragma once

#include "widgets/HDialog.h"

#include <QHash>
#include <QString>

class HFrameLabel;
class QPushButton;
class YumConfIO;
class YumIO;

namespace Repo {
class Entry;
}

namespace RepoEditor {

class ConfigDialog;
class Model;
class SortFilterProxyModel;
class View;

// Lists every repository of the configuration and edits them: session use,
// persistent enabled flag, the configuration form, adding, copying, removing, and
// applying or undoing everything.  Works directly on the YumConfIO's repositories
// and session-use table; each showing reads the files afresh.
class Dialog final : public HDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(Dialog)

public:
    // engine gives yum's variables for browsing and may be null.
    Dialog(YumIO* engine, YumConfIO* yumConfIO, QWidget* parent = nullptr);

    // Makes the next hiding emit reposChanged() even when nothing was applied or
    // changed; cleared by that hiding.
    void setForceReposChanged(bool force) { forceReposChanged_ = force; }

    int exec() override;
    // Cancel: undoes everything since the last Apply or the showing, then closes.
    void reject() override;

    Model* model() const { return model_; }
    View* view() const { return view_; }

Q_SIGNALS:
    // Something was applied or the session use changed while shown: the catalogue
    // must be collected again.
    void reposChanged();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QPushButton* addButton(const QString& text, const QString& toolTip, const char* objectName);
    ConfigDialog* configDialog();
    // Runs the form on entry; true when OK changed it.
    bool runForm(Repo::Entry* entry);
    QString currentId() const;
    void selectId(const QString& id);
    void refresh();

    void browse();
    void edit();
    void add();
    void copy();
    void remove();
    void resetAll();
    bool apply();
    void ok();

    YumConfIO* yumConfIO_;
    Model* model_;
    SortFilterProxyModel* proxy_;
    View* view_;
    ConfigDialog* configDialog_ = nullptr;
    HFrameLabel* status_;
    QPushButton* browseButton_;
    QPushButton* editButton_;
    QPushButton* addButton_;
    QPushButton* copyButton_;
    QPushButton* removeButton_;
    QPushButton* resetAllButton_;
    QPushButton* applyButton_;
    QHash<QString, bool> savedUse_;
    bool entryChanged_ = false;
    bool configChanged_ = false;
    bool applied_ = false;
    bool useChanged_ = false;
    bool forceReposChanged_ = false;
    // A configuration read only in part must not be written back: the files not
    // read would be lost.
    bool readOk_ = false;
};

} // namespace RepoEditor
