#pragma once

#include <QList>
#include <QObject>
#include <QThreadPool>

#include <memory>
#include <utility>
#include <vector>

class QByteArray;
class YumIOSearchIndex;

namespace PackageTable {

// Matches one expression against the search index on a pool of threads, in chunks of
// rows, and reports each chunk's matching rows to the graphical thread as it finishes.
// A new start or cancel() drops the running match: its later chunks stop at the next
// entry and their results are never reported.
class SearchRun final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(SearchRun)

public:
    // A table row and the position of its entry in the index.
    using Candidate = std::pair<int, int>;

    explicit SearchRun(QObject* parent);
    ~SearchRun() override;

    void start(std::shared_ptr<const YumIOSearchIndex> index, std::vector<Candidate> candidates,
               const QByteArray& pattern);
    void cancel();
    bool running() const { return bool(job_); }

Q_SIGNALS:
    // The rows of one chunk whose entries match.
    void found(const QList<int>& rows);
    // Every chunk of the current match was reported.
    void finished();

private:
    struct Job;
    void runChunk(const std::shared_ptr<Job>& job, size_t begin, size_t end);
    static void yieldToWindow();
    void deliver(const std::shared_ptr<Job>& job, const QList<int>& rows);

    std::shared_ptr<Job> job_;
    QThreadPool pool_;
};

} // namespace PackageTable
