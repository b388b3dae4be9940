#pragma once

#include <QtGlobal>

// A count of progress steps. Every position, span and maximum ("tail") of the progress
// bars is one; the bars themselves take int, so callers keep their counts within that range.
using Steps = quint64;
