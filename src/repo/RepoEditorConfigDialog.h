#pragma once

#include "widgets/HDialog.h"

class HFrameLabel;
class QPushButton;
class YumConfIO;

namespace Repo {
class Entry;
}

namespace RepoEditor {

class Config;

// The configuration form in a modal dialog, editing one entry in place.
class ConfigDialog final : public HDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(ConfigDialog)

public:
    explicit ConfigDialog(YumConfIO* yumConfIO, QWidget* parent = nullptr);

    // The entry that OK overwrites; it must outlive the dialog's run.
    void setEntry(Repo::Entry* entry);
    Config* config() const { return config_; }

    int exec() override;

Q_SIGNALS:
    // OK wrote the form into the entry.
    void changed();

private:
    void reset();
    void ok();
    void refresh();

    YumConfIO* yumConfIO_;
    Repo::Entry* entry_ = nullptr;
    Config* config_;
    HFrameLabel* status_;
    QPushButton* resetButton_;
    QPushButton* okButton_;
};

} // namespace RepoEditor
