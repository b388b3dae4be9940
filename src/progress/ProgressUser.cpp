#include "progress/ProgressUser.h"

#include "progress/ProgressObject.h"

namespace Progress {

User::User(Object*& slot, HProgressBar* total, HProgressBar* item)
    : slot_(slot)
{
    slot_ = new Object(total, item);
}

User::~User()
{
    delete slot_;
    slot_ = nullptr;
}

} // namespace Progress
