#include "yumio/Package.h"

#include <QCoreApplication>
#include <QString>

namespace Package {

QString stateText(int state)
{
    switch (state) {
    case AvailableForUpdate:
        return QCoreApplication::translate("Package", "Available for update");
    case AvailableForInstallation:
        return QCoreApplication::translate("Package", "Available for installation");
    case Installed:
        return QCoreApplication::translate("Package", "Installed");
    default:
        return QString();
    }
}

QString kindText(int kind)
{
    switch (kind) {
    case Suite:
        return QCoreApplication::translate("Package", "Suite of packages");
    case Group:
        return QCoreApplication::translate("Package", "Group of packages");
    case Ordinary:
        return QCoreApplication::translate("Package", "Ordinary package");
    default:
        return QString();
    }
}

QString actionText(int action)
{
    switch (action) {
    case Update:
        return QCoreApplication::translate("Package", "Update");
    case Install:
        return QCoreApplication::translate("Package", "Install");
    case Remove:
        return QCoreApplication::translate("Package", "Remove");
    case None:
        return QString();
    case Downgrade:
        return QCoreApplication::translate("Package", "Downgrade");
    case Reinstall:
        return QCoreApplication::translate("Package", "Reinstall");
    default:
        return QCoreApplication::translate("Package", "ERROR");
    }
}

} // namespace Package
