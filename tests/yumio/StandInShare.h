#pragma once

#include <QString>

// Writes a share directory with a small stand-in companion script and yum package, so
// that the engine can be started without the package manager.
class StandInShare final
{
public:
    struct Options {
        QString yumVersion = QStringLiteral("3.4.3");
        bool script = true;
        // Python statements inserted into the script class's constructor.
        QString constructorBody = QStringLiteral("pass");
        // Python statements at the script's top level, after the imports.
        QString topLevel;
    };

    static bool write(const QString& directory, const Options& options);
};
