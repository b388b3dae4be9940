#pragma once

#include "progress/ProgressThreadState.h"

#include <QMetaType>

#include <memory>

namespace Progress {

// The state table of all connections of a parallel download. Copies are deep, so that a
// copy can cross to the graphical thread while the reporting thread goes on changing its own.
class ThreadsState final
{
public:
    ThreadsState() = default;
    explicit ThreadsState(unsigned int count);
    ThreadsState(const ThreadsState& other);
    ThreadsState(ThreadsState&& other) noexcept;
    ThreadsState& operator=(const ThreadsState& other);
    ThreadsState& operator=(ThreadsState&& other) noexcept;
    ~ThreadsState();

    unsigned int count() const { return count_; }
    ThreadState& operator[](unsigned int index);
    const ThreadState& operator[](unsigned int index) const;

private:
    quint32 count_ = 0;
    std::unique_ptr<ThreadState[]> states_;
};

} // namespace Progress

Q_DECLARE_METATYPE(Progress::ThreadsState)
