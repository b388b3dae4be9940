#include "progress/ProgressObject.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <limits>

namespace Progress {

namespace {

std::atomic<Object::MinionMaker> theMinionMaker{nullptr};

// A stopwatch that was never started counts as long expired, so the first report of an
// operation always gets through.
constexpr qint64 neverStarted = std::numeric_limits<qint64>::min();

// Both throttles let one signal or one round of event processing through per 10 ms.
constexpr qint64 throttleMs = 9;

} // namespace

Object::Object(HProgressBar* total, HProgressBar* item)
    : signalMark_(neverStarted), guiMark_(neverStarted)
{
    registerMetaTypes();
    watch_.start();
    if (MinionMaker maker = theMinionMaker.load())
        minion_ = maker(this, total, item);
    const QCoreApplication* application = QCoreApplication::instance();
    QThread* guiThread = minion_ ? minion_->thread() : application ? application->thread() : nullptr;
    sameThread_ = guiThread == thread();
    reset();
}

Object::~Object()
{
    reset();
    if (minion_)
        minion_->deleteLater();
}

void Object::setMinionMaker(MinionMaker maker)
{
    theMinionMaker.store(maker);
}

Object::MinionMaker Object::minionMaker()
{
    return theMinionMaker.load();
}

void Object::registerMetaTypes()
{
    static const bool registered = [] {
        qRegisterMetaType<Steps>("Steps");
        qRegisterMetaType<ThreadsState>("ThreadsState");
        return true;
    }();
    Q_UNUSED(registered);
}

void Object::setClock(Clock clock)
{
    clock_ = clock;
    // Readings of different clocks don't compare.
    signalMark_ = guiMark_ = neverStarted;
}

qint64 Object::now() const
{
    return clock_ ? clock_() : watch_.elapsed();
}

qint64 Object::elapsed(qint64 mark) const
{
    return mark == neverStarted ? std::numeric_limits<qint64>::max() : now() - mark;
}

Steps Object::scaled(Steps act) const
{
    return actsCount_ ? actsSpan_ * act / actsCount_ : actsSpan_;
}

void Object::startTotal(const QString& activity, Steps tail)
{
    totalValue_ = 0;
    totalTail_ = tail;
    if (sameThread_)
        guiMark_ = now();
    Q_EMIT startTotalSig(activity, totalTail_);
    updateGui();
}

void Object::startItem(const QString& activity, Steps span, Steps itemTail)
{
    totalValue_ = itemStart_ = itemEnd_;
    itemEnd_ = itemStart_ + span;
    itemValue_ = 0;
    itemTail_ = itemTail;
    signalMark_ = now();
    Q_EMIT startItemSig(activity, totalValue_, itemTail_);
    updateGui();
}

void Object::changeItemActivity(const QString& activity)
{
    Q_EMIT changeItemActivitySig(activity);
    updateGui();
}

void Object::setupItemActs(Steps span, Steps count)
{
    actsSpan_ = span;
    actsEnd_ = itemEnd_ + span;
    actsCount_ = count;
    actsDone_ = 0;
}

void Object::changeItemActs(Steps count)
{
    actsCount_ = count;
    itemEnd_ = totalValue_ = actsEnd_ - actsSpan_ + scaled(actsDone_);
    Q_EMIT changeItemActsSig(totalValue_);
    updateGui();
}

void Object::startItemAct(const QString& activity, Steps itemTail, Steps act)
{
    act = std::min(act, actsCount_);
    startItem(activity, scaled(act) - scaled(actsDone_), itemTail);
    actsDone_ = act;
}

void Object::endItemActs()
{
    itemStart_ = itemEnd_ = totalValue_ = actsEnd_;
    Q_EMIT endItemActsSig(totalValue_);
    updateGui();
}

void Object::setupItemActsThreads(const QString& activity, Steps span, Steps act,
                                  unsigned int threads, Steps itemTail)
{
    Q_UNUSED(span);
    threads_ = ThreadsState(threads);
    Q_EMIT updateThreadsStateSig(threads_);
    // The item stops one act short and the act is not clamped: the connections' own
    // reports carry the last act to its end.
    startItem(activity, scaled(act - 1) - scaled(actsDone_), itemTail);
    actsDone_ = act - 1;
}

void Object::startItemActThread(const QString& activity, unsigned int thread, Steps tail)
{
    // Callers may name one connection past the table; there is no row to show it in.
    if (!hasThread(thread))
        return;
    ThreadState& state = threads_[thread];
    state.activity = activity;
    state.value = 0;
    state.tail = tail;
    state.status = ThreadState::InProgress;
    if (threads_.count() == 1)
        changeItemActivity(activity);
    Q_EMIT updateThreadsStateSig(threads_);
}

void Object::setItemActsThreadValue(unsigned int thread, Steps value)
{
    if (!hasThread(thread))
        return;
    const Steps old = threads_[thread].value;
    threads_[thread].value = value;
    Q_EMIT updateThreadsStateSig(threads_);
    setItemValue(itemValue_ + value - old);
}

void Object::endItemActThread(unsigned int thread)
{
    if (!hasThread(thread))
        return;
    threads_[thread].status = ThreadState::Complete;
    Q_EMIT updateThreadsStateSig(threads_);
    updateGui();
}

void Object::retryItemActThread(unsigned int thread)
{
    if (!hasThread(thread))
        return;
    ThreadState& state = threads_[thread];
    state.status = ThreadState::Retrying;
    setItemValue(itemValue_ - state.value);
    state.value = 0;
    Q_EMIT updateThreadsStateSig(threads_);
    updateGui();
}

void Object::endItemActsThreads()
{
    threads_ = ThreadsState();
    Q_EMIT updateThreadsStateSig(threads_);
    updateGui();
}

void Object::setItemValue(Steps value)
{
    value = std::min(value, itemTail_);
    itemValue_ = value;
    totalValue_ = itemTail_ ? itemStart_ + value * (itemEnd_ - itemStart_) / itemTail_ : itemEnd_;
    // Even an item's last value obeys the throttle: the next startItem or setTotalValue
    // moves the bars on.
    if (elapsed(signalMark_) > throttleMs) {
        signalMark_ = now();
        Q_EMIT setItemValueSig(totalValue_, itemValue_);
    }
    updateGui();
}

void Object::setTotalValue(Steps value)
{
    value = std::min(value, totalTail_);
    const bool last = value == totalTail_ && totalValue_ != totalTail_;
    if (elapsed(signalMark_) <= throttleMs && !last)
        return;
    signalMark_ = now();
    totalValue_ = value;
    Q_EMIT setTotalValueSig(totalValue_);
    updateGui();
}

void Object::reset()
{
    totalTail_ = 1;
    itemStart_ = 0;
    itemEnd_ = 0;
    itemTail_ = 1;
    threads_ = ThreadsState();
    Q_EMIT updateThreadsStateSig(threads_);
    Q_EMIT resetSig();
    updateGui();
}

void Object::updateGui()
{
    // On a worker the graphical thread's own waiting loop delivers the queued signals; on
    // the graphical thread nobody else would let the bars repaint.
    if (!sameThread_ || elapsed(guiMark_) <= throttleMs)
        return;
    QEventLoop loop;
    loop.processEvents(QEventLoop::ExcludeUserInputEvents);
    guiMark_ = now();
}

} // namespace Progress
