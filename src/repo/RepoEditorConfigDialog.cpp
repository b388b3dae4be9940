#include "repo/RepoEditorConfigDialog.h"

#include "repo/RepoEditorConfig.h"
#include "repo/RepoEntry.h"
#include "repo/YumConfIO.h"
#include "widgets/HFrameLabel.h"
#include "widgets/ModalAnswer.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace RepoEditor {

ConfigDialog::ConfigDialog(YumConfIO* yumConfIO, QWidget* parent)
    : HDialog(parent)
    , yumConfIO_(yumConfIO)
    , config_(new Config(this))
    , status_(new HFrameLabel(this))
{
    setWindowTitle(tr("Orvo Repository Configuration"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(config_);
    status_->setObjectName(QStringLiteral("status"));
    layout->addWidget(status_);

    auto* buttons = new QHBoxLayout;
    resetButton_ = new QPushButton(tr("Reset"), this);
    resetButton_->setToolTip(tr("Undo changes to this repository configuration"));
    auto* cancelButton = new QPushButton(tr("Cancel"), this);
    cancelButton->setToolTip(tr("Undo changes to this repository configuration and close the window"));
    okButton_ = new QPushButton(tr("OK"), this);
    okButton_->setToolTip(tr("Apply changes to all repository configurations, and close the window"));
    buttons->addWidget(resetButton_);
    buttons->addStretch();
    buttons->addWidget(cancelButton);
    buttons->addWidget(okButton_);
    for (QPushButton* button : {resetButton_, cancelButton, okButton_})
        button->setAutoDefault(false);
    layout->addLayout(buttons);

    connect(resetButton_, &QPushButton::clicked, this, &ConfigDialog::reset);
    connect(cancelButton, &QPushButton::clicked, this, &ConfigDialog::reject);
    connect(okButton_, &QPushButton::clicked, this, &ConfigDialog::ok);
    connect(config_, &Config::edited, this, &ConfigDialog::refresh);
    connect(yumConfIO_, &YumConfIO::changed, this, [this] {
        config_->setDefaults(yumConfIO_->mainEnabled(), yumConfIO_->mainGpgcheck());
    });
    config_->setDefaults(yumConfIO_->mainEnabled(), yumConfIO_->mainGpgcheck());
    refresh();
}

void ConfigDialog::setEntry(Repo::Entry* entry)
{
    entry_ = entry;
    reset();
}

int ConfigDialog::exec()
{
    return ModalAnswer::exec(*this);
}

void ConfigDialog::reset()
{
    if (entry_)
        config_->setEntry(*entry_);
    refresh();
}

void ConfigDialog::ok()
{
    if (!config_->isChanged() || !entry_) {
        reject();
        return;
    }
    // The status line names what the package manager would refuse.
    if (!config_->problem().isEmpty()) {
        refresh();
        return;
    }
    Repo::Entry entry = config_->toEntry();
    // Still the section it was read from, so that only the changed lines are written.
    entry.origin = entry_->origin;
    if (!entry.id.isEmpty()) {
        const bool use = entry.enabled == Repo::Default ? yumConfIO_->mainEnabled()
                                                         : entry.enabled == Repo::Yes;
        yumConfIO_->sessionUse()[entry.id] = use;
    }
    *entry_ = entry;
    Q_EMIT changed();
    accept();
}

void ConfigDialog::refresh()
{
    config_->setStatus(*yumConfIO_, status_);
    const bool changed = config_->isChanged();
    resetButton_->setEnabled(changed);
    okButton_->setEnabled(changed);
}

} // namespace RepoEditor
