#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

class YumIO;

namespace Package {
class Entry;
}

// The package manager's other versions of installed packages, its transaction history
// and package files from disk, asked of the companion script on the graphical thread
// while no worker runs.
class YumIOVersions final
{
public:
    explicit YumIOVersions(YumIO* yumIO) : yumIO_(yumIO) {}

    // The installed version of an entry: the entry itself, or the first of its chain
    // when the entry is the newer available one; null for available entries and groups.
    static Package::Entry* installedOf(Package::Entry* entry);
    // Older versions a repository offers, newest first.
    QStringList olderVersions(Package::Entry* entry);
    // Whether a repository offers the installed version itself.
    bool reinstallable(Package::Entry* entry);

    struct Transaction {
        int id = 0;
        qint64 time = 0;
        QString commandLine;
        int installed = 0;
        int updated = 0;
        int removed = 0;
        int returnCode = 0;
    };
    struct Item {
        QString what;
        QString name;
        QString verRel;
        QString arch;
        QString repo;
    };
    // Newest first.
    QVector<Transaction> transactions();
    QVector<Item> items(int id);
    // Marks the inverse of a transaction on the catalogue (entries only: the caller
    // tells the table); the versions no longer available are in missing.  Returns how
    // many entries were marked.
    int undo(int id, QStringList& missing);

    // Checks package files and keeps those that pass for the session: the next
    // collection lists them.  Problems name the files left out.
    QStringList addPackageFiles(const QStringList& paths);

private:
    YumIO* yumIO_;
};
