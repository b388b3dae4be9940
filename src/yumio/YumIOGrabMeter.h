#pragma once

#include "progress/Steps.h"

#include <QHash>
#include <QString>
#include <QVector>

class YumIO;

// The script's download meters of one phase (collecting or applying): single downloads on
// the item bar, or a batch of parallel ones, each on a connection row of its own.  A meter
// object of the script is known only by its address.
class YumIOGrabMeter final
{
public:
    // Where a parallel download's row comes from.  PerFile: the file started, so that a
    // retried file keeps its row, and every row is checked against the batch's file count.
    // PerMeter: the meter object, given the next row when the script makes it.
    enum class Rows { PerFile, PerMeter };

    // Names the file a parallel connection serves.  Keys whose sums coincide are the
    // same key on purpose: the sum is all that is compared.
    class ThreadId final
    {
    public:
        ThreadId() = default;
        ThreadId(const QString& name, int act) : name(name), act(act) {}
        explicit operator long() const { return long(qHash(name) + size_t(act)); }
        bool operator==(const ThreadId& other) const { return long(*this) == long(other); }
        bool operator!=(const ThreadId& other) const { return !(*this == other); }
        friend size_t qHash(const ThreadId& id, size_t seed = 0) { return qHash(long(id), seed); }

        QString name;
        int act = 0;
    };

    YumIOGrabMeter(YumIO& engine, Rows rows) : engine_(engine), rows_(rows) {}

    bool parallel() const { return parallel_; }
    bool laidOut() const { return laidOut_; }
    qint64 files() const { return files_; }
    qint64 size() const { return size_; }

    void reset();
    // Zeroes the batch's counts and forgets its rows; an open batch stays open.
    void forgetFiles();

    void startBatch(qint64 files, qint64 size);
    // Shows the batch on the progress bars, its acts from first to second.
    void layOut(const QString& activity, Steps first, Steps second);
    void endBatch();
    void add(void* meter);
    void remove(void* meter);

    // A parallel download starts on its row; file names it for PerFile rows.
    void start(void* meter, const ThreadId& file, const QString& activity, Steps total, Steps value);
    void update(void* meter, Steps value);
    void end(void* meter, Steps value);
    void failure(void* meter);

private:
    // The row of a meter; false (reported) when it lies beyond the batch.
    bool row(void* meter, const char* complaint, unsigned int& index);

    YumIO& engine_;
    const Rows rows_;
    bool parallel_ = false;
    bool laidOut_ = false;
    qint64 files_ = 0;
    qint64 size_ = 0;
    int nextThread_ = 0;
    QHash<void*, unsigned int> threadOfMeter_;
    // PerFile: which file each row serves.
    QVector<ThreadId> ids_;
    QHash<ThreadId, unsigned int> threadOfId_;
};
