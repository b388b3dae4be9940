#pragma once

#include "progress/ProgressObject.h"
#include "progress/ProgressSlotUser.h"

namespace Progress {

// A progress reporter on the engine's slot for the length of one worker body.
using User = SlotUser<Object>;

} // namespace Progress
