#include "packagetable/PackageTableDescribeInstanceRepoDialog.h"

#include "repo/RepoBrowse.h"
#include "repo/RepoLarder.h"
#include "widgets/HScrollArea.h"

#include <QFormLayout>
#include <QLabel>
#include <QPushButton>

namespace PackageTable {
namespace Describe {
namespace Instance {

RepoDialog::RepoDialog(YumIO* yumIO, QWidget* parent)
    : HFrameDialog(parent, true)
    , yumIO_(yumIO)
{
    setWindowTitle(tr("Orvo Repository Description"));

    // Many URLs make a tall form: it scrolls inside the dialog.
    auto* rows = new QWidget;
    auto* form = new QFormLayout(rows);
    name_ = addRow(form, tr("Name"), "repoName");
    urls_ = addRow(form, tr("URLs"), "urls");
    mirrorlist_ = addRow(form, tr("Mirror list URL"), "mirrorlist");
    HScrollArea* area = scrolled(rows, true);

    auto* browseButton = new QPushButton(tr("Browse Repository"), this);
    browseButton->setObjectName(QStringLiteral("browse"));
    browseButton->setToolTip(
        tr("Browse the first URL specified for the selected repository using an external web browser"));
    connect(browseButton, &QPushButton::clicked, this, &RepoDialog::browse);
    frame(area, { browseButton }, { closeButton(true) });
}

QLabel* RepoDialog::addRow(QFormLayout* form, const QString& label, const char* objectName)
{
    auto* value = new QLabel;
    value->setObjectName(QLatin1String(objectName));
    value->setTextFormat(Qt::PlainText);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(tr("%1:").arg(label), value);
    return value;
}

void RepoDialog::config(const Repo::Entry& entry)
{
    entry_ = entry;
    // Shown with their passwords masked; browsing uses them as written.
    const QString mask(8, QLatin1Char('*'));
    QString urls = entry.baseurl.trimmed();
    Repo::Larder::replaceAuth(urls, mask);
    QString mirrorlist = entry.mirrorlist;
    Repo::Larder::replaceAuth(mirrorlist, mask);
    name_->setText(entry.name);
    urls_->setText(urls);
    mirrorlist_->setText(mirrorlist);
}

void RepoDialog::browse()
{
    RepoBrowse::browse(this, entry_, yumIO_);
}

} // namespace Instance
} // namespace Describe
} // namespace PackageTable
