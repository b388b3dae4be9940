#pragma once

#include <QThread>
#include <QtCore/qcontainerfwd.h>

class QEventLoop;
class YumIO;

// Collects the catalogue (YumIO::collectReal) on a worker thread.
// Ends the graphical thread's waiting loop when the body is done.
class CollectThread final : public QThread
{
    Q_DISABLE_COPY(CollectThread)

public:
    // requests must outlive the thread.
    CollectThread(YumIO* engine, QEventLoop& loop, const QHash<QString, bool>& requests);
    bool result() const { return result_; }

protected:
    void run() override;

private:
    YumIO* engine_;
    QEventLoop& loop_;
    const QHash<QString, bool>& requests_;
    bool result_ = false;
};
