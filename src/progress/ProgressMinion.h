#pragma once

#include "progress/ProgressThreadsState.h"
#include "progress/Steps.h"

#include <QObject>
#include <QPointer>

class GeneralTip;
class HProgressBar;
class QPoint;

namespace Progress {

class Object;

// The graphical-thread half of progress reporting: it only sets the two bars from the
// signals of its Progress::Object, and shows the per-connection table as a tip over the
// item bar.
class Minion final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Minion)

public:
    Minion(HProgressBar* total, HProgressBar* item);

    // Makes every Progress::Object built from now on create its minion through make().
    static void install();
    // The maker: a minion on the two bars, moved to the application's thread and
    // connected to the object's signals (queued when the object lives on a worker).
    static QObject* make(Object* object, HProgressBar* total, HProgressBar* item);
    // Fills a tip with one row per connection; data is the minion.
    static void setupTip(GeneralTip* tip, void* data);

    const ThreadsState& threads() const { return threads_; }

public Q_SLOTS:
    void startTotal(const QString& activity, Steps totalTail);
    void startItem(const QString& activity, Steps totalValue, Steps itemTail);
    void changeItemActivity(const QString& activity);
    void changeItemActs(Steps totalValue);
    void setItemValue(Steps totalValue, Steps value);
    void endItemActs(Steps totalValue);
    void setTotalValue(Steps value);
    void updateThreadsState(const Progress::ThreadsState& threads);
    void reset();
    // False, showing nothing, when there are no connections to show.
    bool itemProgressToolTip(const QPoint& pos);

private:
    QPointer<HProgressBar> total_;
    QPointer<HProgressBar> item_;
    ThreadsState threads_;
};

} // namespace Progress
