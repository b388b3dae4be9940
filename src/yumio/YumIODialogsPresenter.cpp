#include "yumio/YumIODialogsPresenter.h"

#include <atomic>

namespace {
std::atomic<YumIODialogsPresenter*> installed { nullptr };
}

YumIODialogsPresenter::~YumIODialogsPresenter() = default;

void YumIODialogsPresenter::install(YumIODialogsPresenter* presenter)
{
    installed.store(presenter);
}

YumIODialogsPresenter* YumIODialogsPresenter::current()
{
    return installed.load();
}
