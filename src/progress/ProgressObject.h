#pragma once

#include "progress/ProgressThreadsState.h"
#include "progress/Steps.h"

#include <QElapsedTimer>
#include <QObject>

class HProgressBar;

namespace Progress {

// Progress reporting for the thread that does the work. It does all the arithmetic and
// sends the results, throttled, to a relay that lives in the graphical thread and sets the
// two bars (total and item). The bars stay opaque here: the relay is made by a maker that
// the graphical side installs (Progress::Minion does so as soon as a bar exists), so this
// class needs no widgets. Used by the one thread that created it.
class Object final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Object)

public:
    // Makes the relay for the two bars, moves it to the application's thread, connects the
    // object's signals to it and returns it; the object owns it from then on.
    using MinionMaker = QObject* (*)(Object* object, HProgressBar* total, HProgressBar* item);
    // Milliseconds from any fixed origin.
    using Clock = qint64 (*)();

    Object(HProgressBar* total, HProgressBar* item);
    ~Object() override;

    // Process-wide; a null maker leaves new objects without a relay (nothing is shown).
    static void setMinionMaker(MinionMaker maker);
    static MinionMaker minionMaker();
    // Registers Steps and ThreadsState for queued signals; done by every construction.
    static void registerMetaTypes();

    void startTotal(const QString& activity, Steps tail);
    void startItem(const QString& activity, Steps span, Steps itemTail);
    void changeItemActivity(const QString& activity);
    void setupItemActs(Steps span, Steps count);
    void changeItemActs(Steps count);
    void startItemAct(const QString& activity, Steps itemTail, Steps act);
    void endItemActs();
    void setupItemActsThreads(const QString& activity, Steps span, Steps act, unsigned int threads,
                              Steps itemTail);
    void startItemActThread(const QString& activity, unsigned int thread, Steps tail);
    void setItemActsThreadValue(unsigned int thread, Steps value);
    void endItemActThread(unsigned int thread);
    void retryItemActThread(unsigned int thread);
    void endItemActsThreads();
    void setItemValue(Steps value);
    void setTotalValue(Steps value);
    void reset();

    Steps totalValue() const { return totalValue_; }
    Steps itemValue() const { return itemValue_; }
    const ThreadsState& threads() const { return threads_; }
    bool sameThread() const { return sameThread_; }

    // Replaces the stopwatch readings behind both throttles (and forgets their last
    // restarts); null restores the monotonic clock. Lets tests step time instead of sleeping.
    void setClock(Clock clock);

Q_SIGNALS:
    void startTotalSig(const QString& activity, Steps totalTail);
    void startItemSig(const QString& activity, Steps totalValue, Steps itemTail);
    void changeItemActivitySig(const QString& activity);
    void changeItemActsSig(Steps totalValue);
    void setItemValueSig(Steps totalValue, Steps value);
    void endItemActsSig(Steps totalValue);
    void setTotalValueSig(Steps value);
    void updateThreadsStateSig(const Progress::ThreadsState& threads);
    void resetSig();

private:
    Steps scaled(Steps act) const;
    bool hasThread(unsigned int thread) const { return thread < threads_.count(); }
    qint64 now() const;
    qint64 elapsed(qint64 mark) const;
    void updateGui();

    QObject* minion_ = nullptr;
    bool sameThread_ = false;
    QElapsedTimer watch_;
    Clock clock_ = nullptr;
    qint64 signalMark_; // restarts of the shared signal throttle
    qint64 guiMark_;    // restarts of the event-processing throttle
    Steps totalValue_ = 0;
    Steps totalTail_ = 1;
    Steps itemStart_ = 0;
    Steps itemEnd_ = 0;
    Steps itemValue_ = 0;
    Steps itemTail_ = 1;
    Steps actsSpan_ = 0;
    Steps actsEnd_ = 0;
    Steps actsCount_ = 0;
    Steps actsDone_ = 0;
    ThreadsState threads_;
};

} // namespace Progress
