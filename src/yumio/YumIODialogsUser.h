#pragma once

#include "progress/ProgressSlotUser.h"
#include "yumio/YumIODialogs.h"

// Gives a worker body a dialogs proxy of its own thread for its whole length, shadowing
// the engine's permanent one.
using YumIODialogsUser = Progress::SlotUser<YumIODialogs>;
