#include "SyntheticCatalogue.h"

#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QStringList>

namespace SyntheticCatalogue {

namespace {

// A small linear congruential generator: the same rows on every machine.
class Random final
{
public:
    quint32 next()
    {
        state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
        return quint32(state_ >> 33);
    }
    int below(int bound) { return int(next() % quint32(bound)); }

private:
    quint64 state_ = 20261123;
};

Package::Entry* makeEntry(Random& random, Package::State state, Package::Kind kind,
                          const QString& name, const QString& arch, const QString& repo)
{
    auto* entry = new Package::Entry;
    entry->action = Package::None;
    entry->state = state;
    entry->kind = kind;
    entry->name = name;
    entry->verRel = QStringLiteral("%1.%2.%3-%4.fc40")
                        .arg(random.below(9) + 1).arg(random.below(30)).arg(random.below(20))
                        .arg(random.below(5) + 1);
    entry->repo = repo;
    entry->arch = arch;
    entry->biArch = arch == QLatin1String("i686") ? QStringLiteral("i386") : QStringLiteral("x86_64");
    // Mostly small, a few of several GiB, as debug and data packages are.
    entry->size = random.below(100) == 0 ? qint64(random.below(4000)) * 1024 * 1024 * 2
                                         : qint64(random.below(2000000)) + 1000;
    entry->sizeText = YumIO::bytesFormat(quint64(entry->size));
    entry->summary = QStringLiteral("Summary of %1").arg(name);
    entry->buildTime = 1600000000 + random.below(100000000);
    entry->buildTimeText = QStringLiteral("2024-%1-%2 %3:%4")
                               .arg(random.below(12) + 1, 2, 10, QLatin1Char('0'))
                               .arg(random.below(28) + 1, 2, 10, QLatin1Char('0'))
                               .arg(random.below(24), 2, 10, QLatin1Char('0'))
                               .arg(random.below(60), 2, 10, QLatin1Char('0'));
    return entry;
}

} // namespace

void fill(YumIO& yumIO, int count)
{
    static const QStringList stems = {
        QStringLiteral("lib"), QStringLiteral("python3-"), QStringLiteral("perl-"),
        QStringLiteral("golang-"), QStringLiteral("rust-"), QStringLiteral("texlive-"),
        QStringLiteral("ghc-"), QStringLiteral("nodejs-"), QStringLiteral(""),
        QStringLiteral("kf5-"), QStringLiteral("gnome-"), QStringLiteral("xorg-x11-")};
    static const QStringList words = {
        QStringLiteral("alpha"), QStringLiteral("bravo"), QStringLiteral("charlie"),
        QStringLiteral("delta"), QStringLiteral("echo"), QStringLiteral("foxtrot"),
        QStringLiteral("golf"), QStringLiteral("hotel"), QStringLiteral("india"),
        QStringLiteral("juliet"), QStringLiteral("kilo"), QStringLiteral("lima"),
        QStringLiteral("mike"), QStringLiteral("november"), QStringLiteral("oscar")};
    static const QStringList suffixes = {
        QString(), QStringLiteral("-devel"), QStringLiteral("-doc"), QStringLiteral("-libs"),
        QString(), QStringLiteral("-common"), QString(), QStringLiteral("-debuginfo")};
    static const QStringList repos = {QStringLiteral("fedora"), QStringLiteral("updates"),
                                      QStringLiteral("third-party")};

    Random random;
    Package::EntryList& entries = yumIO.catalogue();
    const int groups = qMax(1, count / 350);
    const int suites = qMax(1, count / 7000);
    for (int i = 0; i < groups; ++i) {
        entries.append(makeEntry(random, Package::State(random.below(3)), Package::Group,
                                 QStringLiteral("group-%1").arg(i), QString(), QString()));
    }
    for (int i = 0; i < suites; ++i) {
        entries.append(makeEntry(random, Package::State(random.below(3)), Package::Suite,
                                 QStringLiteral("suite-%1").arg(i), QStringLiteral("noarch"),
                                 repos.at(0)));
    }
    int serial = 0;
    while (entries.size() < count) {
        const QString name = stems.at(random.below(int(stems.size())))
            + words.at(random.below(int(words.size())))
            + QString::number(serial++) + suffixes.at(random.below(int(suffixes.size())));
        const int kind = random.below(100);
        if (kind < 2) {
            // Installed and up to date; now and then with a second installed version.
            Package::Entry* entry = makeEntry(random, Package::Installed, Package::Ordinary,
                                              name, QStringLiteral("x86_64"), QStringLiteral("installed"));
            if (random.below(10) == 0)
                entry->next = makeEntry(random, Package::Installed, Package::Ordinary, name,
                                        QStringLiteral("x86_64"), QStringLiteral("installed"));
            entries.append(entry);
        } else if (kind < 4) {
            // Out of date: the installed versions it updates follow it.
            Package::Entry* entry = makeEntry(random, Package::AvailableForUpdate,
                                              Package::Ordinary, name, QStringLiteral("x86_64"),
                                              QStringLiteral("updates"));
            entry->next = makeEntry(random, Package::Installed, Package::Ordinary, name,
                                    QStringLiteral("x86_64"), QStringLiteral("installed"));
            if (random.below(8) == 0)
                entry->next->next = makeEntry(random, Package::Installed, Package::Ordinary,
                                              name, QStringLiteral("x86_64"),
                                              QStringLiteral("installed"));
            entries.append(entry);
        } else {
            entries.append(makeEntry(random, Package::AvailableForInstallation,
                                     Package::Ordinary, name, QStringLiteral("x86_64"),
                                     repos.at(random.below(int(repos.size())))));
            if (name.startsWith(QLatin1String("lib")) && random.below(4) == 0
                && entries.size() < count) {
                Package::Entry* duplicate = makeEntry(random, Package::AvailableForInstallation,
                                                      Package::Ordinary, name,
                                                      QStringLiteral("i686"), repos.at(0));
                duplicate->duplicate = true;
                entries.append(duplicate);
            }
        }
    }
}

} // namespace SyntheticCatalogue
