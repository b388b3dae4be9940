#pragma once

#include "widgets/HFrameDialog.h"

#include <QList>

class HScrollArea;
class QVBoxLayout;
class YumConfIO;
class YumIO;

namespace Package {
class Entry;
}

namespace PackageTable {
namespace Describe {

namespace Instance {
class AdvisoriesArea;
class Area;
}

// Everything known about one catalogue entry: the entry and every further installed
// version of it, one area each, in a column that scrolls.  Created once and configured
// for each entry described.
class Dialog final : public HFrameDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(Dialog)

public:
    explicit Dialog(QWidget* parent);
    ~Dialog() override;

    // Rebuilds the areas for entry, which must stay in the catalogue while the dialog
    // is open.
    void config(YumIO* yumIO, const Package::Entry& entry, YumConfIO* yumConfIO);
    // Not ready while the engine works: disabled, and it does not close.
    void setReady(bool ready);
    bool isReady() const { return ready_; }
    const QList<Instance::Area*>& areas() const { return areas_; }
    // The advisories an update fixes, after its own area; null when there are none.
    Instance::AdvisoriesArea* advisoriesArea() const { return advisoriesArea_; }

public Q_SLOTS:
    void done(int result) override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void clearAreas();

    QVBoxLayout* column_;
    HScrollArea* scroll_;
    QList<Instance::Area*> areas_;
    Instance::AdvisoriesArea* advisoriesArea_ = nullptr;
    bool ready_ = true;
};

} // namespace Describe
} // namespace PackageTable
