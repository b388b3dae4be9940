#include "yumio/PackageEntry.h"

#include <atomic>
#include <cstdio>

namespace {
std::atomic<bool> reported { false };
std::atomic<int> live { 0 };
}

namespace Package {

Entry::Entry()
{
    ++live;
}

Entry::~Entry()
{
    --live;
    delete next;
    if (yumObject) {
        // The interpreter lock may not be held here: keep the reference rather than
        // release it without the lock.
        PyObject* object = yumObject.release();
        if (!reported.exchange(true))
            std::fprintf(stderr, "Internal error: attempt to delete Package::Entry %p with extant python obj %p\n",
                         static_cast<void*>(this), static_cast<void*>(object));
    }
}

int Entry::liveCount()
{
    return live.load();
}

bool Entry::extantReported()
{
    return reported.load();
}

} // namespace Package
