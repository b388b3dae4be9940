#pragma once

#include <QByteArray>

// Turns the toolkit's abort when it cannot open the window system into one line on
// standard error and exit status 1.  Watches only while the application object is
// being built, the one time the toolkit connects to the display.
class DisplayFailure final
{
public:
    static void watch();
    static void unwatch();
    // The line printed (without the program name) for the platform and display asked for;
    // an empty platform is the default one (X11).
    static QByteArray reason(const QByteArray& platform, const QByteArray& display);
};
