// The dependency solver followed on the progress bars: every package that joins the
// transaction widens the current item, and every pass of the solver adds its acts.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "yumio/YumIO.h"

#include "progress/ProgressObject.h"
#include "yumio/PackageEntry.h"

#include <QFile>

PyObject* YumIO::dsTsCheck(PyObject*, PyObject*)
{
    applyActs += dsPassActs_;
    if (progress_)
        progress_->startItemAct(tr("Resolve Dependencies"), 1, Steps(applyActs));
    return noneResult();
}

PyObject* YumIO::dsRestartLoop(PyObject*, PyObject*)
{
    // Wraps like the counters it is made of; equal to dsActs below that.
    dsPassActs_ = quint32(dsActs_ * 10u) / 10u;
    dsDoneActs_ += dsPassActs_;
    if (progress_)
        progress_->changeItemActs(quint32(dsDoneActs_ + 10u * dsDownloads_));
    return noneResult();
}

void YumIO::dsTsInfo(const QString& text)
{
    static const QString updating = QStringLiteral("Updating ");
    static const QString obsoleting = QStringLiteral("Obsoleting ");
    static const QString marking = QStringLiteral("Marking ");
    const QChar blank(QLatin1Char(' '));

    if (text.startsWith(updating)) {
        const QString rest = text.mid(updating.size());
        const int end = rest.indexOf(blank);
        if (end >= 0) {
            const QString envra = rest.left(end);
            dsTsNewPkg(envra, dsTsFindPkg(envra), 2, true);
            return;
        }
    } else if (text.startsWith(obsoleting)) {
        const QString rest = text.mid(obsoleting.size());
        const int end = rest.indexOf(blank);
        // Searched from the blank that ends the first name, which " with " begins with.
        const int with = end >= 0 ? rest.indexOf(QLatin1String(" with "), end) : -1;
        if (with >= 0) {
            const QString first = rest.left(end);
            // yum ends the line with the second name.
            QString second = rest.mid(with + 6);
            const int secondEnd = second.indexOf(blank);
            if (secondEnd >= 0)
                second.truncate(secondEnd);
            Package::Entry* firstEntry = dsTsFindPkg(first);
            Package::Entry* secondEntry = dsTsFindPkg(second);
            dsTsNewPkg(first, firstEntry, 1, false);
            dsTsNewPkg(second, secondEntry, 1, true);
            return;
        }
    } else if (text.startsWith(marking)) {
        const QString rest = text.mid(marking.size());
        const int end = rest.indexOf(blank);
        if (end >= 0) {
            const QString envra = rest.left(end);
            const bool update = text.contains(QLatin1String(" update "));
            dsTsNewPkg(envra, dsTsFindPkg(envra), update ? 2 : 1, true);
            return;
        }
    } else if (text.contains(QLatin1String(" marked as erase"))) {
        return;
    }
    error(tr("Internal error: unexpected TSINFO: %1").arg(text));
}

Package::Entry* YumIO::dsTsFindPkg(const QString& envra)
{
    Package::Entry* entry = nullptr;
    if (yumVersion() > 30208) {
        QString epoch, name, version, release, arch;
        if (parseEnvra(envra, epoch, name, version, release, arch)) {
            entry = findEntry(EntryKey(false, name, getBiArch(arch)));
        } else {
            error(tr("Internal error: TSINFO mentions package %1 which does not appear to be a valid envra; "
                     "interpreting as package name")
                      .arg(envra));
            entry = findPackage(envra);
        }
    } else {
        entry = findPackage(envra);
    }
    if (!entry)
        error(tr("Internal error: TSINFO mentions unknown package: %1").arg(envra));
    return entry;
}

void YumIO::dsTsNewPkg(const QString&, Package::Entry* entry, unsigned int acts, bool checkHeader)
{
    if (!entry)
        return;
    if (entry->state == Package::Installed) {
        error(tr("Internal error: TSINFO mentions intent to install or upgrade package that already seems "
                 "up-to-date: %1")
                  .arg(entry->name));
        return;
    }
    dsActs_ += acts;
    if (checkHeader && !QFile::exists(getLocalHdr(entry->yumObject.get())))
        ++dsDownloads_;
    if (progress_)
        progress_->changeItemActs(quint32(dsDoneActs_ + 10u * dsDownloads_));
}
