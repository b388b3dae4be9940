#pragma once

#include <utility>

namespace Progress {

// Installs a service of its own on one of the engine's slots for the length of a scope
// (a worker body, the stretch where rpm runs) and puts the slot's previous value back on
// every way out.  The service's type must be complete where the guard is made.
template <class Service>
class SlotUser final
{
public:
    template <class... Args>
    explicit SlotUser(Service*& slot, Args&&... args)
        : slot_(slot), previous_(slot)
    {
        slot_ = new Service(std::forward<Args>(args)...);
    }
    ~SlotUser()
    {
        delete slot_;
        slot_ = previous_;
    }
    SlotUser(const SlotUser&) = delete;
    SlotUser& operator=(const SlotUser&) = delete;

private:
    Service*& slot_;
    Service* previous_;
};

} // namespace Progress
