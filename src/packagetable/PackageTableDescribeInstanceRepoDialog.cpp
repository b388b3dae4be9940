#include "packagetable/PackageTableDescribeInstanceRepoDialog.h"

#include "repo/RepoBrowse.h"
#include "repo/RepoLarder.h"
#include "widgets/HScrollArea.h"
#include "widgets/ModalAnswer.h"
#include "widgets/ScreenLimit.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace PackageTable {
namespace Describe {
namespace Instance {

RepoDialog::RepoDialog(YumIO* yumIO, QWidget* parent)
    : QDialog(parent)
    , yumIO_(yumIO)
{
    setWindowTitle(tr("Orvo Repository Description"));

    // Many URLs make a tall form: it scrolls inside the dialog.
    auto* rows = new QWidget;
    auto* form = new QFormLayout(rows);
    name_ = addRow(form, tr("Name"), "repoName");
    urls_ = addRow(form, tr("URLs"), "urls");
    mirrorlist_ = addRow(form, tr("Mirror list URL"), "mirrorlist");
    auto* area = new HScrollArea(this);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setWidget(rows);

    auto* browseButton = new QPushButton(tr("Browse Repository"), this);
    browseButton->setObjectName(QStringLiteral("browse"));
    browseButton->setToolTip(
        tr("Browse the first URL specified for the selected repository using an external web browser"));
    connect(browseButton, &QPushButton::clicked, this, &RepoDialog::browse);
    auto* close = new QPushButton(tr("Close"), this);
    close->setObjectName(QStringLiteral("close"));
    close->setDefault(true);
    connect(close, &QPushButton::clicked, this, &QDialog::accept);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(browseButton);
    buttons->addStretch();
    buttons->addWidget(close);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(area);
    layout->addLayout(buttons);
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

QSize RepoDialog::sizeHint() const
{
    return ScreenLimit::bound(this, QDialog::sizeHint());
}

// Reused for other repositories: fit the one shown now.
void RepoDialog::setVisible(bool visible)
{
    if (visible)
        resize(sizeHint());
    QDialog::setVisible(visible);
}

int RepoDialog::exec()
{
    return ModalAnswer::exec(*this);
}

} // namespace Instance
} // namespace Describe
} // namespace PackageTable
