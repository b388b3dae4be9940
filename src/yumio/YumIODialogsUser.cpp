#include "yumio/YumIODialogsUser.h"

#include "yumio/YumIODialogs.h"

YumIODialogsUser::YumIODialogsUser(YumIODialogs*& slot, QWidget* parent)
    : slot_(slot), previous_(slot)
{
    slot_ = new YumIODialogs(parent);
}

YumIODialogsUser::~YumIODialogsUser()
{
    delete slot_;
    slot_ = previous_;
}
