#include "yumio/YumIOCollectThread.h"

#include "yumio/YumIO.h"

#include <QEventLoop>

CollectThread::CollectThread(YumIO* engine, QEventLoop& loop, const QHash<QString, bool>& requests)
    : engine_(engine), loop_(loop), requests_(requests)
{
}

void CollectThread::run()
{
    result_ = engine_->collectReal(requests_);
    loop_.exit(0);
}
