#pragma once

#include "yumio/AdvisoryRecord.h"

#include <QHash>
#include <QSet>
#include <QVector>

#include <memory>
#include <vector>

namespace Package {
class Entry;
}

namespace Advisory {

// The advisories read with the catalogue, and for each update entry those it fixes.
// Keyed by entry: emptied whenever the entries go.
class Store final
{
public:
    using Fixes = QVector<const Record*>;

    void clear();
    // Keeps the record; a second record of the same id is dropped and the first given.
    const Record* add(Record record);
    const Record* find(const QString& id) const { return byId_.value(id, nullptr); }
    int count() const { return int(records_.size()); }
    // Empty for an entry that fixes nothing.
    const Fixes& fixes(const Package::Entry* entry) const;
    void setFixes(const Package::Entry* entry, const Fixes& fixes);
    bool fixesSecurity(const Package::Entry* entry) const { return security_.contains(entry); }
    int entryCount() const { return int(fixes_.size()); }

private:
    std::vector<std::unique_ptr<Record>> records_;
    QHash<QString, const Record*> byId_;
    QHash<const Package::Entry*, Fixes> fixes_;
    QSet<const Package::Entry*> security_;
};

} // namespace Advisory
