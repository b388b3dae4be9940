#include "packagetable/PackageTableDescribeDialog.h"

#include "packagetable/PackageTableDescribeInstanceAdvisoriesArea.h"
#include "packagetable/PackageTableDescribeInstanceArea.h"
#include "widgets/HScrollArea.h"
#include "yumio/AdvisoryStore.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QCloseEvent>
#include <QPushButton>
#include <QLayout>
#include <QVBoxLayout>

namespace PackageTable {
namespace Describe {

Dialog::Dialog(QWidget* parent)
    : HFrameDialog(parent, true)
    , column_(new QVBoxLayout)
{
    setWindowTitle(tr("Orvo Package Description"));

    auto* inner = new QWidget;
    auto* innerLayout = new QVBoxLayout(inner);
    innerLayout->setContentsMargins(0, 0, 0, 0);
    innerLayout->addLayout(column_);
    innerLayout->addStretch();
    scroll_ = scrolled(inner, true);
    frame(scroll_, {}, { closeButton(true) });
}

Dialog::~Dialog()
{
    clearAreas();
}

void Dialog::config(YumIO* yumIO, const Package::Entry& entry, YumConfIO* yumConfIO)
{
    clearAreas();
    areas_.append(new Instance::Area(this, column_, yumIO, entry, yumConfIO, true));
    const Advisory::Store::Fixes& fixes = yumIO->advisories().fixes(&entry);
    if (entry.state == Package::AvailableForUpdate && !fixes.isEmpty())
        advisoriesArea_ = new Instance::AdvisoriesArea(column_, fixes);
    if (entry.kind != Package::Group) {
        for (const Package::Entry* version = entry.next; version; version = version->next)
            areas_.append(new Instance::Area(this, column_, yumIO, *version, yumConfIO, false));
    }
    // The column sits inside the scrolled widget's layout, whose size was taken when
    // the scroll area was set up: have it measured anew.
    scroll_->widget()->layout()->invalidate();
    scroll_->updateGeometry();
}

void Dialog::clearAreas()
{
    delete advisoriesArea_;
    advisoriesArea_ = nullptr;
    qDeleteAll(areas_);
    areas_.clear();
}

void Dialog::setReady(bool ready)
{
    ready_ = ready;
    setEnabled(ready);
}

void Dialog::done(int result)
{
    if (!ready_)
        return;
    QDialog::done(result);
    // The areas refer to catalogue entries, which a later collection deletes.
    clearAreas();
}

void Dialog::closeEvent(QCloseEvent* event)
{
    if (!ready_) {
        event->ignore();
        return;
    }
    QDialog::closeEvent(event);
}

} // namespace Describe
} // namespace PackageTable
