#include "yumio/YumIOClearEntriesThread.h"

#include "yumio/YumIO.h"

#include <QEventLoop>

ClearEntriesThread::ClearEntriesThread(YumIO* engine, QEventLoop& loop)
    : engine_(engine), loop_(loop)
{
}

void ClearEntriesThread::run()
{
    engine_->clearEntriesReal();
    loop_.exit(0);
}
