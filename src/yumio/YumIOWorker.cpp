#include "yumio/YumIOWorker.h"

#include <QEventLoop>

YumIOWorker::YumIOWorker(const std::function<bool()>& body, QEventLoop& loop)
    : body_(body), loop_(loop)
{
}

void YumIOWorker::run()
{
    result_ = body_();
    loop_.exit(0);
}
