#pragma once

#include <QString>

namespace System {

// A directory holding an RPM system that Orvo can manage (ORVOROOT): a container
// image's root, a chroot, a mounted disk.
class Root final
{
public:
    // The managed root of this process: ORVOROOT made absolute and clean, "/" when unset.
    static QString current();
    // Empty when dir holds an rpm database where rpm systems keep one; otherwise what is
    // missing, in words.
    static QString missing(const QString& dir);
    // The window title with the managed root added, unless that is "/".
    static QString titled(const QString& title, const QString& root);
};

} // namespace System
