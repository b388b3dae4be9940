#include "progress/ProgressThreadsState.h"

#include <algorithm>
#include <utility>

namespace Progress {

ThreadsState::ThreadsState(unsigned int count)
    : count_(count), states_(count ? new ThreadState[count] : nullptr)
{
}

ThreadsState::ThreadsState(const ThreadsState& other)
    : count_(other.count_), states_(other.states_ ? new ThreadState[other.count_] : nullptr)
{
    if (states_)
        std::copy(other.states_.get(), other.states_.get() + count_, states_.get());
}

ThreadsState::ThreadsState(ThreadsState&& other) noexcept
    : count_(std::exchange(other.count_, 0)), states_(std::move(other.states_))
{
}

ThreadsState& ThreadsState::operator=(const ThreadsState& other)
{
    if (this != &other) {
        ThreadsState copy(other);
        *this = std::move(copy);
    }
    return *this;
}

ThreadsState& ThreadsState::operator=(ThreadsState&& other) noexcept
{
    count_ = std::exchange(other.count_, 0);
    states_ = std::move(other.states_);
    return *this;
}

ThreadsState::~ThreadsState() = default;

ThreadState& ThreadsState::operator[](unsigned int index)
{
    Q_ASSERT(index < count_);
    return states_[index];
}

const ThreadState& ThreadsState::operator[](unsigned int index) const
{
    Q_ASSERT(index < count_);
    return states_[index];
}

} // namespace Progress
