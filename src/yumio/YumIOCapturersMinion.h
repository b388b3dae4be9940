#pragma once

#include <QObject>
#include <QSemaphore>
#include <QStringDecoder>

class QSocketNotifier;
class YumIO;

// The graphical-thread side of YumIOCapturers: reads the capture pipes whenever they have
// something and hands the text to the engine.  It owns the pipes' read ends and closes
// them when it goes.  The worker reaches it only through activate() and deactivate().
class YumIOCapturersMinion final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(YumIOCapturersMinion)

public:
    YumIOCapturersMinion(YumIO* engine, int stdoutFd, int stderrFd);
    ~YumIOCapturersMinion() override;

    // Any thread: starts reading on the graphical thread.
    void activate();
    // Any thread: returns once the graphical thread has read the pipes one last time and
    // stopped watching them.
    void deactivate();

public Q_SLOTS:
    void initialize();
    void finalize();
    void readStdout();
    void readStderr();

private:
    QByteArray drain(int fd, QSocketNotifier* notifier);

    YumIO* engine_;
    bool active_ = false;
    int stdoutFd_;
    int stderrFd_;
    QSocketNotifier* stdoutNotifier_ = nullptr;
    QSocketNotifier* stderrNotifier_ = nullptr;
    QSemaphore semaphore_ { 1 };
    // Stateful, so that a character split between two reads is not garbled.
    QStringDecoder stdoutDecoder_ { QStringDecoder::Utf8 };
    QStringDecoder stderrDecoder_ { QStringDecoder::Utf8 };
};
