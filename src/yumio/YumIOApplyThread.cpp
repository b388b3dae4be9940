#include "yumio/YumIOApplyThread.h"

#include "yumio/YumIO.h"

#include <QEventLoop>

ApplyThread::ApplyThread(YumIO* engine, QEventLoop& loop)
    : engine_(engine), loop_(loop)
{
}

void ApplyThread::run()
{
    result_ = engine_->applyReal();
    loop_.exit(0);
}
