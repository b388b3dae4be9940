#include "yumio/YumIOCapturersUser.h"

#include "yumio/YumIOCapturers.h"

YumIOCapturersUser::YumIOCapturersUser(YumIOCapturers*& slot, YumIO* engine)
    : slot_(slot), previous_(slot)
{
    slot_ = new YumIOCapturers(engine);
}

YumIOCapturersUser::~YumIOCapturersUser()
{
    delete slot_;
    slot_ = previous_;
}
