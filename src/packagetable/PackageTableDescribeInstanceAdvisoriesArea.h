#pragma once

#include <QFrame>
#include <QStringList>

class QVBoxLayout;

namespace Advisory {
class Record;
}

namespace PackageTable {
namespace Describe {
namespace Instance {

// The advisories an update fixes: for each its type, severity, issue date, title,
// description and references, which open in the web browser.
class AdvisoriesArea final : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(AdvisoriesArea)

public:
    // Adds itself to column.
    AdvisoriesArea(QVBoxLayout* column, const QVector<const Advisory::Record*>& advisories);

    // The rich text shown for each advisory, in order.
    const QStringList& texts() const { return texts_; }

    // The rich text that shows one advisory.
    static QString text(const Advisory::Record& advisory);

public Q_SLOTS:
    // Opens a reference in the share directory's web browser.
    void openLink(const QString& url);

private:
    QStringList texts_;
};

} // namespace Instance
} // namespace Describe
} // namespace PackageTable
