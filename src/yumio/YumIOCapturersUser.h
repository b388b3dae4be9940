#pragma once

#include "progress/ProgressSlotUser.h"
#include "yumio/YumIOCapturers.h"

// Captures the process's standard output and error into the log while it lives (around
// the stretch where rpm runs).
using YumIOCapturersUser = Progress::SlotUser<YumIOCapturers>;
