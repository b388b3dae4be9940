#include "packagetable/PackageTableSearchRun.h"

#include "packagetable/PackageTableSearchMatcher.h"
#include "yumio/YumIOSearchIndex.h"

#include <QByteArray>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cstring>

#ifdef Q_OS_LINUX
#include <cerrno>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace PackageTable {

namespace {

// With a text that every match holds, each block of each field is searched for it once,
// and only the entries where it occurs are tried: far fewer and longer searches than one
// per entry and field.  The chunk's entries lie in one run of the index.
bool matchRun(const YumIOSearchIndex& index, const std::vector<SearchRun::Candidate>& candidates,
              const std::atomic<bool>& cancelled, size_t begin, size_t end, const SearchMatcher& matcher,
              YumIOSearchIndex::Reader& reader, QList<int>& rows)
{
    const std::string_view needed = matcher.needed();
    const bool literal = matcher.literal();
    const int first = candidates[begin].second >> YumIOSearchIndex::BlockShift << YumIOSearchIndex::BlockShift;
    const int last = qMin(first + (1 << YumIOSearchIndex::BlockShift), index.count());
    // Per entry of the run: its candidate, or -1 for entries not listed or decided.
    std::vector<int> pending(size_t(last - first), -1);
    for (size_t i = begin; i < end; ++i)
        pending[size_t(candidates[i].second - first)] = int(i);
    size_t left = end - begin;
    for (int position = 0; position < YumIOSearchIndex::PackageFieldCount && left > 0; ++position) {
        const int field = YumIOSearchIndex::fieldByCost(position);
        const int step = YumIOSearchIndex::blockEntries(field);
        for (int from = first; from < last && left > 0; from += step) {
            if (cancelled)
                return false;
            const int to = qMin(from + step, last);
            const std::string_view text = reader.span(from, to, field);
            const quint32 origin = index.start(from, field);
            int entry = from;
            size_t at = 0;
            while (at < text.size()) {
                const void* found = memmem(text.data() + at, text.size() - at, needed.data(), needed.size());
                if (!found)
                    break;
                const quint32 offset = origin + quint32(static_cast<const char*>(found) - text.data());
                // The entry whose items hold the occurrence: the last one starting at or
                // before it.
                while (entry + 1 < to && index.start(entry + 1, field) <= offset)
                    ++entry;
                const int candidate = pending[size_t(entry - first)];
                if (candidate >= 0 && field < index.fieldCountAt(entry)
                    && (literal || matcher.matchesAny(reader.items(entry, field)))) {
                    rows.append(candidates[size_t(candidate)].first);
                    pending[size_t(entry - first)] = -1;
                    --left;
                }
                // The entry is decided for this field either way.
                at = index.start(entry + 1, field) - origin;
            }
        }
    }
    return true;
}

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
    // In index order, a chunk for each run of entries that the index packs together.
    std::vector<Candidate>& sorted = job->candidates;
    std::sort(sorted.begin(), sorted.end(),
              [](const Candidate& a, const Candidate& b) { return a.second < b.second; });
    std::vector<std::pair<size_t, size_t>> chunks;
    for (size_t begin = 0; begin < sorted.size();) {
        size_t end = begin + 1;
        const int run = sorted[begin].second >> YumIOSearchIndex::BlockShift;
        while (end < sorted.size() && sorted[end].second >> YumIOSearchIndex::BlockShift == run)
            ++end;
        chunks.emplace_back(begin, end);
        begin = end;
    }
    job->pending = chunks.size();
    if (job->pending == 0) {
        // Nothing to match: the end is still reported from the event loop, as always.
        job->pending = 1;
        QMetaObject::invokeMethod(this, [this, job] { deliver(job, {}); }, Qt::QueuedConnection);
        return;
    }
    for (const auto& [begin, end] : chunks)
        pool_.start([this, job, begin = begin, end = end] { runChunk(job, begin, end); });
}

// The matching threads give way to the graphical thread, which lists what they found
// meanwhile: on a machine with as many busy threads as cores, the listing would wait
// for a share of a core otherwise.
void SearchRun::yieldToWindow()
{
#ifdef Q_OS_LINUX
    thread_local bool lowered = false;
    if (lowered)
        return;
    lowered = true;
    const int tid = int(syscall(SYS_gettid));
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, id_t(tid));
    if (errno == 0)
        setpriority(PRIO_PROCESS, id_t(tid), qMin(nice + 5, 19));
#endif
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
    yieldToWindow();
    const SearchMatcher matcher(job->pattern);
    const YumIOSearchIndex& index = *job->index;
    const std::string_view needed = matcher.needed();
    YumIOSearchIndex::Reader reader(index, needed);
    QList<int> rows;
    if (needed.empty()) {
        for (size_t i = begin; i < end; ++i) {
            if (job->cancelled)
                return;
            const auto [row, at] = job->candidates[i];
            const int fields = index.fieldCountAt(at);
            for (int position = 0; position < YumIOSearchIndex::PackageFieldCount; ++position) {
                const int field = YumIOSearchIndex::fieldByCost(position);
                if (field < fields && matcher.matchesAny(reader.items(at, field))) {
                    rows.append(row);
                    break;
                }
            }
        }
    } else if (!matchRun(index, job->candidates, job->cancelled, begin, end, matcher, reader, rows)) {
        return;
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
