#include "yumio/AdvisoryStore.h"

namespace Advisory {

void Store::clear()
{
    fixes_.clear();
    security_.clear();
    byId_.clear();
    records_.clear();
}

const Record* Store::add(Record record)
{
    if (const Record* known = find(record.id))
        return known;
    records_.push_back(std::make_unique<Record>(std::move(record)));
    const Record* kept = records_.back().get();
    byId_.insert(kept->id, kept);
    return kept;
}

const Store::Fixes& Store::fixes(const Package::Entry* entry) const
{
    static const Fixes none;
    const auto it = fixes_.constFind(entry);
    return it == fixes_.cend() ? none : it.value();
}

void Store::setFixes(const Package::Entry* entry, const Fixes& fixes)
{
    security_.remove(entry);
    if (fixes.isEmpty()) {
        fixes_.remove(entry);
        return;
    }
    fixes_.insert(entry, fixes);
    for (const Record* record : fixes) {
        if (record->type == Security) {
            security_.insert(entry);
            break;
        }
    }
}

} // namespace Advisory
