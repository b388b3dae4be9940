#pragma once

#include "repo/RepoEntry.h"

#include "widgets/HFrameDialog.h"

class QFormLayout;
class QLabel;
class YumIO;

namespace PackageTable {
namespace Describe {
namespace Instance {

// Describes the repository a package comes from and lets the user browse it.
class RepoDialog final : public HFrameDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(RepoDialog)

public:
    RepoDialog(YumIO* yumIO, QWidget* parent);

    void config(const Repo::Entry& entry);
    const Repo::Entry& entry() const { return entry_; }

public Q_SLOTS:
    void browse();

private:
    QLabel* addRow(QFormLayout* form, const QString& label, const char* objectName);

    YumIO* yumIO_;
    Repo::Entry entry_;
    QLabel* name_;
    QLabel* urls_;
    QLabel* mirrorlist_;
};

} // namespace Instance
} // namespace Describe
} // namespace PackageTable
