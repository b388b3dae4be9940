#include "yumio/YumIOBuildSearchIndexThread.h"

#include "yumio/YumIO.h"

#include <QEventLoop>

BuildSearchIndexThread::BuildSearchIndexThread(YumIO* engine, QEventLoop& loop)
    : engine_(engine), loop_(loop)
{
}

void BuildSearchIndexThread::run()
{
    result_ = engine_->buildSearchIndexReal();
    loop_.exit(0);
}
