#include "yumio/YumIOCollectOtherDataThread.h"

#include "yumio/YumIO.h"

#include <QEventLoop>

CollectOtherDataThread::CollectOtherDataThread(YumIO* engine, QEventLoop& loop)
    : engine_(engine), loop_(loop)
{
}

void CollectOtherDataThread::run()
{
    result_ = engine_->collectOtherDataReal();
    loop_.exit(0);
}
