#pragma once

#include <QThread>

class QEventLoop;
class YumIO;

// Empties the catalogue (YumIO::clearEntriesReal) on a worker thread.
// Ends the graphical thread's waiting loop when the body is done.
class ClearEntriesThread final : public QThread
{
    Q_DISABLE_COPY(ClearEntriesThread)

public:
    ClearEntriesThread(YumIO* engine, QEventLoop& loop);

protected:
    void run() override;

private:
    YumIO* engine_;
    QEventLoop& loop_;
};
