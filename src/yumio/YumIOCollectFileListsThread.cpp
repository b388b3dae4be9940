#include "yumio/YumIOCollectFileListsThread.h"

#include "yumio/YumIO.h"

#include <QEventLoop>

CollectFileListsThread::CollectFileListsThread(YumIO* engine, QEventLoop& loop)
    : engine_(engine), loop_(loop)
{
}

void CollectFileListsThread::run()
{
    result_ = engine_->collectFileListsReal();
    loop_.exit(0);
}
