#include "progress/ProgressMinion.h"

#include "progress/GeneralTip.h"
#include "progress/HProgressBar.h"
#include "progress/ProgressObject.h"

#include <QCoreApplication>
#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QThread>

namespace Progress {

namespace {

// Over this many finished connections the tip shows one line for all of them.
constexpr unsigned int completeShownSingly = 20;

// The bars take int; steps wrap into that range as QProgressBar's setters would.
int barInt(Steps steps)
{
    return static_cast<int>(steps);
}

QColor statusColor(int status)
{
    switch (status) {
    case ThreadState::InProgress:
        return QColor(255, 255, 0);
    case ThreadState::Complete:
        return QColor(144, 238, 144);
    default:
        return QColor(255, 140, 0);
    }
}

QLabel* statusLabel(const QString& text, int status, bool boxed, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setFrameShape(QFrame::StyledPanel);
    label->setFrameShadow(QFrame::Plain);
    if (boxed)
        label->setFrameStyle(QFrame::Box);
    const QColor background = statusColor(status);
    QPalette palette = label->palette();
    palette.setColor(QPalette::Window, background);
    palette.setColor(QPalette::WindowText, qGray(background.rgb()) < 124 ? Qt::white : Qt::black);
    label->setPalette(palette);
    label->setBackgroundRole(QPalette::Window);
    label->setAutoFillBackground(true);
    return label;
}

void addRow(QGridLayout* grid, QWidget* tip, const QString& text, QLabel* status)
{
    const int row = grid->count() / 2;
    grid->addWidget(new QLabel(text, tip), row, 0);
    grid->addWidget(status, row, 1);
}

} // namespace

Minion::Minion(HProgressBar* total, HProgressBar* item)
    : total_(total), item_(item)
{
}

void Minion::install()
{
    Object::setMinionMaker(&Minion::make);
}

QObject* Minion::make(Object* object, HProgressBar* total, HProgressBar* item)
{
    auto* minion = new Minion(total, item);
    minion->moveToThread(QCoreApplication::instance()->thread());
    connect(object, &Object::startTotalSig, minion, &Minion::startTotal);
    connect(object, &Object::startItemSig, minion, &Minion::startItem);
    connect(object, &Object::changeItemActivitySig, minion, &Minion::changeItemActivity);
    connect(object, &Object::changeItemActsSig, minion, &Minion::changeItemActs);
    connect(object, &Object::setItemValueSig, minion, &Minion::setItemValue);
    connect(object, &Object::endItemActsSig, minion, &Minion::endItemActs);
    connect(object, &Object::setTotalValueSig, minion, &Minion::setTotalValue);
    connect(object, &Object::updateThreadsStateSig, minion, &Minion::updateThreadsState);
    connect(object, &Object::resetSig, minion, &Minion::reset);
    if (item)
        connect(item, &HProgressBar::toolTip, minion, &Minion::itemProgressToolTip);
    return minion;
}

void Minion::startTotal(const QString& activity, Steps totalTail)
{
    if (total_) {
        total_->setActivity(activity);
        total_->setMaximum(barInt(totalTail));
        total_->setValue(0);
        total_->setEnabled(true);
    }
    if (item_) {
        item_->reset();
        item_->setEnabled(false);
    }
}

void Minion::startItem(const QString& activity, Steps totalValue, Steps itemTail)
{
    if (total_)
        total_->setValue(barInt(totalValue));
    if (item_) {
        item_->setActivity(activity);
        item_->setMaximum(barInt(itemTail));
        item_->setValue(0);
        item_->setEnabled(true);
    }
}

void Minion::changeItemActivity(const QString& activity)
{
    if (item_)
        item_->setActivity(activity);
}

void Minion::changeItemActs(Steps totalValue)
{
    setTotalValue(totalValue);
}

void Minion::setItemValue(Steps totalValue, Steps value)
{
    setTotalValue(totalValue);
    if (item_)
        item_->setValue(barInt(value));
}

void Minion::endItemActs(Steps totalValue)
{
    setTotalValue(totalValue);
}

void Minion::setTotalValue(Steps value)
{
    if (total_)
        total_->setValue(barInt(value));
}

void Minion::updateThreadsState(const ThreadsState& threads)
{
    threads_ = threads;
}

void Minion::reset()
{
    for (HProgressBar* bar : {total_.data(), item_.data()}) {
        if (!bar)
            continue;
        bar->setMinimum(0);
        bar->setMaximum(1);
        bar->reset();
        bar->setEnabled(false);
    }
}

bool Minion::itemProgressToolTip(const QPoint& pos)
{
    if (!threads_.count() || !item_)
        return false;
    GeneralTip::showTip(item_->mapToGlobal(pos), &Minion::setupTip, this, item_, true);
    return true;
}

void Minion::setupTip(GeneralTip* tip, void* data)
{
    const ThreadsState& threads = static_cast<const Minion*>(data)->threads_;
    auto* grid = new QGridLayout(tip);
    grid->setContentsMargins(4, 4, 4, 4);

    unsigned int complete = 0;
    unsigned int notStarted = 0;
    for (unsigned int i = 0; i < threads.count(); ++i) {
        const int status = threads[i].status;
        if (status == ThreadState::Complete)
            ++complete;
        else if (status < ThreadState::Retrying || status > ThreadState::Complete)
            ++notStarted;
    }
    const bool summarise = complete > completeShownSingly;
    if (summarise)
        addRow(grid, tip, tr("%1 downloads").arg(complete),
               statusLabel(tr("Complete"), ThreadState::Complete, false, tip));

    for (unsigned int i = 0; i < threads.count(); ++i) {
        const ThreadState& state = threads[i];
        switch (state.status) {
        case ThreadState::InProgress: {
            const QString text = state.tail == 1
                ? tr("In Progress")
                : tr("%1 / %2 (%3%%)")
                      .arg(QString::number(state.value), QString::number(state.tail),
                           QString::number(double(state.value) / double(state.tail), 'g',
                                           QLocale::FloatingPointShortest));
            addRow(grid, tip, state.activity, statusLabel(text, state.status, false, tip));
            break;
        }
        case ThreadState::Retrying:
            addRow(grid, tip, state.activity, statusLabel(tr("Retrying"), state.status, true, tip));
            break;
        case ThreadState::Complete:
            if (!summarise)
                addRow(grid, tip, state.activity, statusLabel(tr("Complete"), state.status, true, tip));
            break;
        default:
            break;
        }
    }

    if (notStarted)
        addRow(grid, tip, tr("%1 downloads").arg(notStarted),
               statusLabel(tr("Not Started Yet"), ThreadState::NotStarted, false, tip));
}

} // namespace Progress
