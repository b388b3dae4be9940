#pragma once

#include "progress/Steps.h"

#include <QString>

namespace Progress {

// One connection of a download that runs in several parallel connections.
struct ThreadState final
{
    enum Status { NotStarted = 0, Retrying = 1, InProgress = 2, Complete = 3 };

    QString activity;
    Steps value = 0;
    Steps tail = 1; // exactly 1: the size is unknown
    int status = NotStarted;
};

} // namespace Progress
