#pragma once

// The callbacks of the yumIOC module, through which the companion script reports back:
// name, calling convention, and the argument format the engine's method parses ("*": the
// arguments are not parsed; none for a callback without arguments).  The engine's methods
// and the module definition are both made from this one table.
#define YUMIOC_CONTRACT(X)                                                                         \
    X(stdoutWrite, METH_VARARGS, "s")                                                              \
    X(stderrWrite, METH_VARARGS, "s")                                                              \
    X(log, METH_VARARGS, "ls")                                                                     \
    X(errorlog, METH_VARARGS, "ls")                                                                \
    X(collectProgress, METH_VARARGS, "llO")                                                        \
    X(collectGrabMeterStart, METH_VARARGS, "OOOOOO")                                               \
    X(collectGrabMeterUpdate, METH_VARARGS, "OL")                                                  \
    X(collectGrabMeterEnd, METH_VARARGS, "OL")                                                     \
    X(collectGrabMeterFailure, METH_VARARGS, "OO")                                                 \
    X(collectGrabMultiMeterStart, METH_VARARGS, "LL")                                              \
    X(collectGrabMultiMeterNew, METH_VARARGS, "O")                                                 \
    X(collectGrabMultiMeterRemove, METH_VARARGS, "O")                                              \
    X(collectGrabMultiMeterEnd, METH_VARARGS, "*")                                                 \
    X(applyGrabMeterStart, METH_VARARGS, "OOOOOO")                                                 \
    X(applyGrabMeterUpdate, METH_VARARGS, "OL")                                                    \
    X(applyGrabMeterEnd, METH_VARARGS, "OL")                                                       \
    X(applyGrabMeterFailure, METH_VARARGS, "OO")                                                   \
    X(applyGrabMultiMeterStart, METH_VARARGS, "LL")                                                \
    X(applyGrabMultiMeterNew, METH_VARARGS, "O")                                                   \
    X(applyGrabMultiMeterRemove, METH_VARARGS, "O")                                                \
    X(applyGrabMultiMeterEnd, METH_VARARGS, "*")                                                   \
    X(dsTsCheck, METH_NOARGS, "")                                                                  \
    X(dsRestartLoop, METH_NOARGS, "")                                                              \
    X(userconfirm, METH_NOARGS, "")                                                                \
    X(reportDownloadSize, METH_VARARGS, "O")                                                       \
    X(listTransaction, METH_VARARGS, "O")                                                          \
    X(tsInitCallback, METH_VARARGS, "l")                                                           \
    X(tsCallback, METH_VARARGS, "lLLOO")                                                           \
    X(tsEvent, METH_VARARGS, "OlLLll")                                                             \
    X(postTransactionOutput, METH_VARARGS, "O")                                                    \
    X(gpgsigcheck, METH_VARARGS, "*")                                                              \
    X(inRoot, METH_VARARGS, "s")

// The same formats by callback name, for the engine's own parsing of the arguments:
// YumIOCFormat::log is "ls".
namespace YumIOCFormat {
#define YUMIOC_FORMAT(name, flags, format) inline constexpr char name[] = format;
YUMIOC_CONTRACT(YUMIOC_FORMAT)
#undef YUMIOC_FORMAT

// For the callbacks that share one parser: their formats must stay the same.
constexpr bool same(const char* a, const char* b)
{
    return *a == *b && (*a == '\0' || same(a + 1, b + 1));
}
} // namespace YumIOCFormat
