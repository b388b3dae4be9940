#pragma once

#include <QList>

namespace Package {

class Entry;

// The catalogue's rows, in order.  The list does not own the entries: the engine's
// clearing operations delete them.
class EntryList final : public QList<Entry*>
{
public:
    EntryList() = default;
};

} // namespace Package
