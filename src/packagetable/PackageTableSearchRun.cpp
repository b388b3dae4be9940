#include "packagetable/PackageTableSearchRun.h"

#include "packagetable/PackageTableSearchMatcher.h"
#include "yumio/YumIOSearchIndex.h"

#include <QByteArray>
#include <QThread>

#include <atomic>

namespace PackageTable {

namespace {

// Small enough that the listing fills in steadily and a cancel is noticed at once,
// large enough that compiling the expression per chunk costs nothing.
constexpr size_t chunkRows = 1024;

} // namespace

struct SearchRun::Job {
    std::shared_ptr<const YumIOSearchIndex> index;
    std::vector<Candidate> candidates;
    QByteArray pattern;
    std::atomic<bool> cancelled{false};
    size_t pending = 0; // graphical thread only
};

SearchRun::SearchRun(QObject* parent)
    : QObject(parent)
{
    pool_.setMaxThreadCount(qMax(1, QThread::idealThreadCount()));
}

SearchRun::~SearchRun()
{
    cancel();
    pool_.waitForDone();
}

void SearchRun::start(std::shared_ptr<const YumIOSearchIndex> index, std::vector<Candidate> candidates,
                      const QByteArray& pattern)
{
    cancel();
    auto job = std::make_shared<Job>();
    job->index = std::move(index);
    job->candidates = std::move(candidates);
    job->pattern = pattern;
    job_ = job;
    const size_t count = job->candidates.size();
    job->pending = (count + chunkRows - 1) / chunkRows;
    if (job->pending == 0) {
        // Nothing to match: the end is still reported from the event loop, as always.
        job->pending = 1;
        QMetaObject::invokeMethod(this, [this, job] { deliver(job, {}); }, Qt::QueuedConnection);
        return;
    }
    for (size_t begin = 0; begin < count; begin += chunkRows) {
        const size_t end = qMin(count, begin + chunkRows);
        pool_.start([this, job, begin, end] { runChunk(job, begin, end); });
    }
}

void SearchRun::cancel()
{
    if (job_)
        job_->cancelled = true;
    job_.reset();
}

void SearchRun::runChunk(const std::shared_ptr<Job>& job, size_t begin, size_t end)
{
    if (job->cancelled)
        return;
    const SearchMatcher matcher(job->pattern);
    const YumIOSearchIndex& index = *job->index;
    YumIOSearchIndex::Reader reader(index, matcher.needed());
    QList<int> rows;
    for (size_t i = begin; i < end; ++i) {
        if (job->cancelled)
            return;
        const auto [row, at] = job->candidates[i];
        const int fields = index.fieldCountAt(at);
        for (int field = 0; field < fields; ++field) {
            if (matcher.matchesAny(reader.items(at, field))) {
                rows.append(row);
                break;
            }
        }
    }
    QMetaObject::invokeMethod(this, [this, job, rows] { deliver(job, rows); }, Qt::QueuedConnection);
}

void SearchRun::deliver(const std::shared_ptr<Job>& job, const QList<int>& rows)
{
    if (job != job_)
        return;
    if (!rows.isEmpty())
        Q_EMIT found(rows);
    if (--job->pending == 0) {
        job_.reset();
        Q_EMIT finished();
    }
}

} // namespace PackageTable
