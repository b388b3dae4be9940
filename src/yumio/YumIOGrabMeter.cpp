#include "yumio/YumIOGrabMeter.h"

#include "progress/ProgressObject.h"
#include "yumio/YumIO.h"

namespace {

// A parallel batch's file count as a number of connection rows: a count no real download
// reaches (or a negative one) gets no rows rather than an allocation that cannot succeed.
unsigned int connectionRows(qint64 files)
{
    constexpr qint64 maximumRows = 1 << 20;
    return files >= 0 && files <= maximumRows ? unsigned(files) : 0;
}

} // namespace

void YumIOGrabMeter::reset()
{
    parallel_ = false;
    laidOut_ = false;
    nextThread_ = 0;
    forgetFiles();
}

void YumIOGrabMeter::forgetFiles()
{
    files_ = size_ = 0;
    threadOfMeter_.clear();
    ids_.clear();
    threadOfId_.clear();
}

void YumIOGrabMeter::startBatch(qint64 files, qint64 size)
{
    reset();
    parallel_ = true;
    files_ = files;
    size_ = size;
    // One spare slot: an index equal to the file count is let through.  Without rows only
    // the retry bookkeeping is lost.
    const bool retries = rows_ == Rows::PerFile && connectionRows(files) == files;
    ids_ = QVector<ThreadId>(retries ? int(files) + 1 : 0);
}

void YumIOGrabMeter::layOut(const QString& activity, Steps first, Steps second)
{
    if (Progress::Object* progress = engine_.progressSlot())
        progress->setupItemActsThreads(activity, first, second, connectionRows(files_), Steps(size_));
    laidOut_ = true;
}

void YumIOGrabMeter::endBatch()
{
    if (Progress::Object* progress = engine_.progressSlot())
        progress->endItemActsThreads();
    // The counts are read only while a batch is open, so they go too.
    reset();
}

void YumIOGrabMeter::add(void* meter)
{
    if (rows_ == Rows::PerMeter)
        threadOfMeter_.insert(meter, unsigned(nextThread_++));
}

void YumIOGrabMeter::remove(void* meter)
{
    if (rows_ == Rows::PerMeter)
        threadOfMeter_.remove(meter);
}

void YumIOGrabMeter::start(void* meter, const ThreadId& file, const QString& activity, Steps total, Steps value)
{
    unsigned int index = threadOfMeter_.value(meter, 0);
    if (rows_ == Rows::PerFile) {
        const auto known = threadOfId_.constFind(file);
        index = known != threadOfId_.cend() ? known.value() : unsigned(nextThread_++);
        if (qint64(index) > files_) {
            engine_.error(YumIO::tr("Internal error: Start: unexpected thread %1 > total files %2\n").arg(index).arg(files_));
            return;
        }
        threadOfMeter_.insert(meter, index);
        if (index < unsigned(ids_.size()))
            ids_[index] = file;
        threadOfId_.insert(file, index);
    }
    if (Progress::Object* progress = engine_.progressSlot()) {
        progress->startItemActThread(activity, index, total);
        if (value)
            progress->setItemActsThreadValue(index, value);
    }
}

bool YumIOGrabMeter::row(void* meter, const char* complaint, unsigned int& index)
{
    index = threadOfMeter_.value(meter, 0);
    if (rows_ == Rows::PerMeter || qint64(index) <= files_)
        return true;
    engine_.error(YumIO::tr(complaint).arg(index).arg(files_));
    return false;
}

void YumIOGrabMeter::update(void* meter, Steps value)
{
    if (!parallel_) {
        if (Progress::Object* progress = engine_.progressSlot())
            progress->setItemValue(value);
        return;
    }
    unsigned int index = 0;
    const char* complaint = QT_TRANSLATE_NOOP("YumIO", "Internal error: Update: unexpected thread %1 > total files %2\n");
    if (!row(meter, complaint, index))
        return;
    if (Progress::Object* progress = engine_.progressSlot())
        progress->setItemActsThreadValue(index, value);
}

void YumIOGrabMeter::end(void* meter, Steps value)
{
    unsigned int index = 0;
    const char* complaint = QT_TRANSLATE_NOOP("YumIO", "Internal error: End: unexpected thread %1 > total files %2\n");
    if (!parallel_ || !row(meter, complaint, index))
        return;
    if (index < unsigned(ids_.size()))
        threadOfId_.remove(ids_.at(index));
    if (Progress::Object* progress = engine_.progressSlot()) {
        progress->setItemActsThreadValue(index, value);
        progress->endItemActThread(index);
    }
    // A PerMeter row stays with its meter until the script removes it.
    if (rows_ == Rows::PerFile)
        threadOfMeter_.remove(meter);
}

void YumIOGrabMeter::failure(void* meter)
{
    unsigned int index = 0;
    const char* complaint = QT_TRANSLATE_NOOP("YumIO", "Internal error: Failure: unexpected thread %1 > total files %2\n");
    if (!parallel_ || !row(meter, complaint, index))
        return;
    if (Progress::Object* progress = engine_.progressSlot())
        progress->retryItemActThread(index);
    // The file's row stays, so that its retry gets the same row.
    if (rows_ == Rows::PerFile)
        threadOfMeter_.remove(meter);
}
