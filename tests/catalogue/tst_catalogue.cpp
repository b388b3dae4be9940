// The catalogue collected from the sandbox system by the real companion script and dnf.

#include "SandboxRoot.h"
#include "RecordingPresenter.h"

#include "python/PyRef.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

namespace {

const Package::Entry* find(YumIO& engine, const QString& name, const QString& arch = QString(), bool group = false)
{
    for (const Package::Entry* entry : engine.catalogue())
        if (entry->name == name && (group ? entry->kind == Package::Group : entry->kind != Package::Group)
            && (arch.isEmpty() || entry->arch == arch))
            return entry;
    return nullptr;
}

QString chainOf(const Package::Entry& entry)
{
    // The order of installed versions is the package manager's.
    QStringList chain;
    for (const Package::Entry* c = entry.next; c; c = c->next)
        chain.append(c->verRel + "." + c->arch);
    chain.sort();
    return chain.join(' ');
}

QStringList dump(YumIO& engine)
{
    QStringList rows;
    for (const Package::Entry* e : engine.catalogue())
        rows.append(QStringList { QString::number(e->state), QString::number(e->kind), e->name, e->verRel, e->repo,
                                  e->arch, e->biArch, e->sizeText, e->summary, e->buildTimeText,
                                  e->duplicate ? "dup" : "", chainOf(*e) }
                        .join('|'));
    rows.sort();
    return rows;
}

} // namespace

class TestCatalogue final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(root_.isValid());
        QString why;
        QVERIFY2(useSandboxCopy(root_.path(), why), qPrintable(why));
        std::signal(SIGINT, SIG_DFL);
        YumIODialogsPresenter::install(&presenter_);
        engine_ = new YumIO;
        engine_->setup(nullptr, nullptr, nullptr);
        QVERIFY(engine_->initialize());
        QVERIFY(engine_->collect({}));
        QVERIFY2(presenter_.dialogs.isEmpty(), qPrintable(presenter_.dialogs.value(0).text));
        QVERIFY(engine_->yumLocked());
        first_ = dump(*engine_);
    }

    void cleanupTestCase()
    {
        if (engine_)
            engine_->clearEntriesBeforeQuit();
        delete engine_;
        YumIODialogsPresenter::install(nullptr);
    }

    void init() { presenter_.dialogs.clear(); }

    void rows_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("arch");
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("verRel");
        QTest::addColumn<QString>("repo");
        QTest::addColumn<QString>("chain");
        QTest::addColumn<bool>("duplicate");

        // An update holds the slot, the installed versions hang in its chain.
        QTest::newRow("pear update")
            << "pear" << "x86_64" << 0 << 2 << "1.1-1" << "orvo-updates" << "1.0-1.x86_64" << false;
        QTest::newRow("kettle two installed")
            << "kettle" << "x86_64" << 0 << 2 << "3.0-1" << "orvo-updates" << "1.0-1.x86_64 2.0-1.x86_64" << false;
        // The noarch update of an x86_64 package shares its slot.
        QTest::newRow("quince to noarch")
            << "quince" << "noarch" << 0 << 2 << "1.1-1" << "orvo-updates" << "1.0-1.x86_64" << false;
        // The machine's own word size is preferred.
        QTest::newRow("plum installed") << "plum" << "x86_64" << 2 << 2 << "1.0-1" << "installed" << "" << false;
        QTest::newRow("plum i686") << "plum" << "i686" << 1 << 2 << "1.0-1" << "orvo-base" << "" << true;
        QTest::newRow("fig noarch") << "fig" << "noarch" << 1 << 2 << "1.0-1" << "orvo-base" << "" << false;
        QTest::newRow("grape epoch") << "grape" << "x86_64" << 1 << 2 << "2:3.0-1" << "orvo-base" << "" << false;
        QTest::newRow("breakfast suite") << "breakfast" << "noarch" << 1 << 0 << "1.0-1" << "orvo-base" << "" << false;
        QTest::newRow("cherry installed") << "cherry" << "noarch" << 2 << 2 << "1.0-1" << "installed" << "" << false;
        QTest::newRow("cherry-ng") << "cherry-ng" << "noarch" << 1 << 2 << "2.0-1" << "orvo-updates" << "" << false;
        // Installed for one word size, the newer version only for the other: still preferred.
        QTest::newRow("medlar installed") << "medlar" << "x86_64" << 2 << 2 << "1.0-1" << "installed" << "" << false;
        QTest::newRow("medlar i686") << "medlar" << "i686" << 1 << 2 << "1.1-1" << "orvo-updates" << "" << true;
        QTest::newRow("apricot i686 update")
            << "apricot" << "i686" << 0 << 2 << "1.1-1" << "orvo-updates" << "1.0-1.i686" << true;
        QTest::newRow("apricot x86_64") << "apricot" << "x86_64" << 1 << 2 << "1.1-1" << "orvo-updates" << "" << false;
    }

    void rows()
    {
        QFETCH(QString, name);
        QFETCH(QString, arch);
        QFETCH(int, state);
        QFETCH(int, kind);
        QFETCH(QString, verRel);
        QFETCH(QString, repo);
        QFETCH(QString, chain);
        QFETCH(bool, duplicate);

        const Package::Entry* entry = find(*engine_, name, arch);
        QVERIFY2(entry, qPrintable(first_.join('\n')));
        QCOMPARE(int(entry->state), state);
        QCOMPARE(int(entry->kind), kind);
        QVERIFY2(entry->verRel.endsWith(verRel), qPrintable(entry->verRel));
        QCOMPARE(entry->repo, repo);
        QCOMPARE(chainOf(*entry), chain);
        QCOMPARE(entry->duplicate, duplicate);
        QCOMPARE(int(entry->action), int(Package::None));
    }

    void onlyOneRowPerSlot()
    {
        QStringList seen;
        for (const Package::Entry* e : engine_->catalogue()) {
            const QString key = QString("%1|%2|%3").arg(e->kind == Package::Group).arg(e->name, e->biArch);
            QVERIFY2(!seen.contains(key), qPrintable(key));
            seen.append(key);
        }
        // walnut's repository is disabled; the hidden group is left out.
        QVERIFY(!find(*engine_, "walnut"));
        QVERIFY(!find(*engine_, "Pantry", QString(), true));
        QVERIFY(!find(*engine_, "pear", "i686"));
        QCOMPARE(engine_->preferredEntry("plum"), find(*engine_, "plum", "x86_64"));
        QCOMPARE(engine_->preferredEntry("medlar"), find(*engine_, "medlar", "x86_64"));
    }

    void groups_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("state");
        // Installed, but a mandatory member has an update.
        QTest::newRow("Orchard") << "Orchard" << 0;
        // Its mandatory member's update is for the build that is not the name's preferred entry.
        QTest::newRow("Grove") << "Grove" << 0;
        QTest::newRow("Kitchen") << "Kitchen" << 1;
        // No mandatory members: installed through a default one.
        QTest::newRow("Garden") << "Garden" << 2;
    }

    void groups()
    {
        QFETCH(QString, name);
        QFETCH(int, state);
        const Package::Entry* group = find(*engine_, name, QString(), true);
        QVERIFY2(group, qPrintable(first_.join('\n')));
        QCOMPARE(int(group->state), state);
        QVERIFY(group->yumObject);
        QVERIFY(group->biArch.isEmpty());
    }

    void entryFields()
    {
        const Package::Entry* pear = find(*engine_, "pear");
        QCOMPARE(pear->summary, QString("A juicy pear"));
        QCOMPARE(pear->buildTime, qint64(1736150400));
        QVERIFY(!pear->buildTimeText.isEmpty());
        QVERIFY(pear->size > 0);
        QCOMPARE(pear->sizeText, YumIO::bytesFormat(quint64(pear->size)));
        QVERIFY(pear->yumObject);
        QCOMPARE(engine_->baseArch(), QString("x86_64"));
        QCOMPARE(engine_->enabledRepos(), QStringList({ "orvo-base", "orvo-updates" }));
    }

    void installedDetails()
    {
        const Package::Entry* pear = find(*engine_, "pear");
        const Package::Entry& installed = *pear->next;
        QCOMPARE(engine_->getDescription(installed), QString("A pear that ripens in the sandbox.\nIt has two lines of description."));
        QCOMPARE(engine_->getGroup(installed), QString("Applications/Food"));
        QCOMPARE(engine_->getVendor(installed), QString("Orvo Sandbox"));
        QCOMPARE(engine_->getUrl(installed), QString("http://orvo.invalid/pear"));
        QCOMPARE(engine_->getLicense(installed), QString("MIT"));
        QCOMPARE(engine_->getPackager(installed), QString("Orvo Developers <dev@orvo.invalid>"));
        QVERIFY(engine_->getSourceRpm(installed).startsWith("pear-1.0-1"));
        QVERIFY(!engine_->getBuildHost(installed).isEmpty());
        QVERIFY(!engine_->getInstallTime(installed).isEmpty());
        QVERIFY(engine_->getBinaryRpm(installed).isEmpty());
        QVERIFY(engine_->getProvides(installed).contains("fruit(pear) = 1.0"));
        QVERIFY(engine_->getRequires(installed).filter("pear-data").isEmpty());
        QCOMPARE(engine_->getFiles(installed),
                 QStringList({ "/usr/share/pear", "/usr/share/pear/README", "/usr/share/pear/pear.conf" }));
        QCOMPARE(engine_->getChangeLog(installed), QString("* Mon Jan  6 2025 Orvo Developers <dev@orvo.invalid> - 1.0-1\n- First harvest."));

        // No vendor in the header: an empty text, not a placeholder.
        QCOMPARE(engine_->getVendor(*find(*engine_, "plum", "x86_64")), QString());
        QCOMPARE(engine_->getVendor(*find(*engine_, "plum", "i686")), QString());
        // An unversioned entry keeps the blank before its empty comparison.
        QVERIFY(engine_->getProvides(*find(*engine_, "medlar", "x86_64")).contains("medlar-fruit "));

        const Package::Entry* tomato = find(*engine_, "tomato");
        QCOMPARE(engine_->getRelocations(*tomato), QStringList({ "/opt/tomato" }));
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    void availableDetails()
    {
        const Package::Entry* pear = find(*engine_, "pear");
        QVERIFY(engine_->getRequires(*pear).contains("pear-data >= 1.1"));
        QVERIFY(engine_->getProvides(*pear).contains("fruit(pear) = 1.1"));
        QCOMPARE(engine_->getGroup(*pear), QString("Applications/Food"));
        QVERIFY(engine_->getBinaryRpm(*pear).endsWith("pear-1.1-1.x86_64.rpm"));
        // Change logs of available packages come with the other data, loaded on request.
        QCOMPARE(engine_->getChangeLog(*pear), QString());
        QVERIFY(engine_->getFiles(*pear).contains("/usr/share/pear/README"));
        // Only installed packages carry a header.
        QCOMPARE(engine_->getInstallTime(*pear), QString());
        QCOMPARE(engine_->getRelocations(*pear), QStringList());
        QVERIFY(presenter_.dialogs.isEmpty());
        PyRef none = PyRef::steal(engine_->getRpmHdrValue(pear->yumObject.get(), "INSTALLTIME"));
        QVERIFY(!none);
        QCOMPARE(presenter_.dialogs.size(), 1);
        QCOMPARE(presenter_.dialogs[0].text, QString("getRpmHdrValue called for package with no hdr (i.e. not installed)"));
        presenter_.dialogs.clear();

        const Package::Entry* lemon = find(*engine_, "lemon");
        QCOMPARE(engine_->getConflicts(*lemon), QStringList({ "lime" }));
        const Package::Entry* cherryNg = find(*engine_, "cherry-ng");
        QCOMPARE(engine_->getObsoletes(*cherryNg), QStringList({ "cherry < 2.0" }));
        QVERIFY(engine_->getProvides(*cherryNg).contains("cherry = 2.0-1"));
        const Package::Entry* melon = find(*engine_, "melon");
        QVERIFY(engine_->getRequires(*melon).contains("melon-libs >= 1.0"));
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    void groupDetails()
    {
        const Package::Entry* orchard = find(*engine_, "Orchard", QString(), true);
        QCOMPARE(engine_->getMandatoryPkgs(*orchard), QStringList({ "pear", "quince" }));
        QCOMPARE(engine_->getDefaultPkgs(*orchard), QStringList({ "plum" }));
        QCOMPARE(engine_->getOptionalPkgs(*orchard), QStringList({ "fig" }));
        QCOMPARE(engine_->getConditionalPkgs(*orchard), QStringList({ "fig-extras" }));
        QCOMPARE(engine_->getRequiredGroups(*orchard), QStringList());
        QCOMPARE(engine_->upToDateGroup(*orchard), 0);
        QCOMPARE(engine_->upToDateGroup(*find(*engine_, "Garden", QString(), true)), 1);
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    void extraDataLoadedOnce()
    {
        QSignalSpy spy(engine_, &YumIO::collectedExtraData);
        QVERIFY(engine_->collectFileLists());
        QCOMPARE(spy.count(), 1);
        QVERIFY(engine_->fileListsLoaded());
        QVERIFY(engine_->collectFileLists());
        QCOMPARE(spy.count(), 1);
        QVERIFY(engine_->collectOtherData());
        QCOMPARE(spy.count(), 2);
        QVERIFY(engine_->collectOtherData());
        QCOMPARE(spy.count(), 2);
        // The objects stay usable after the other data was loaded.
        QVERIFY(engine_->getChangeLog(*find(*engine_, "pear"))
                    .startsWith("* Wed Mar  5 2025 Orvo Developers <dev@orvo.invalid> - 1.1-1\n- Crisper skin.\n"));
        QVERIFY2(presenter_.dialogs.isEmpty(), qPrintable(presenter_.dialogs.value(0).text));

        // A new collection is the same, and loads the extra data again on request.
        QVERIFY(recollect({}));
        QCOMPARE(dump(*engine_), first_);
        QVERIFY(!engine_->fileListsLoaded());
        QVERIFY(engine_->collectFileLists());
        QCOMPARE(spy.count(), 3);
    }

    void malformedPackageSkipped_data()
    {
        QTest::addColumn<bool>("bulk");
        QTest::newRow("bulk") << true;
        QTest::newRow("per package") << false;
    }

    void malformedPackageSkipped()
    {
        QFETCH(bool, bulk);
        // An available package whose name cannot be read.
        {
            YumIO::PyGILStateWrapper lock(true);
            engine_->py("class _Nameless(object):\n"
                        "    arch = 'x86_64'\n"
                        "    @property\n"
                        "    def name(self):\n"
                        "        raise ValueError('no name here')\n"
                        "_collectAll = YumIO.collectAll\n"
                        "_bulkRows = YumIO.collectRows\n"
                        "def _withNameless(self):\n"
                        "    every = _collectAll(self)\n"
                        "    every.available.append(_Nameless())\n"
                        "    return every\n"
                        "YumIO.collectAll = _withNameless\n");
            if (!bulk)
                engine_->py("del YumIO.collectRows\n");
        }
        const bool collected = recollect({});
        {
            YumIO::PyGILStateWrapper lock(true);
            engine_->py("YumIO.collectAll = _collectAll\nYumIO.collectRows = _bulkRows\n");
        }
        QVERIFY(collected);
        QCOMPARE(presenter_.dialogs.size(), 1);
        QVERIFY2(presenter_.dialogs[0].text.startsWith("Internal error: python exception occurred from C code."),
                 qPrintable(presenter_.dialogs[0].text));
        presenter_.dialogs.clear();
        QCOMPARE(dump(*engine_), first_);
    }

    void sessionEnable()
    {
        // Unknown ids are ignored without a word.
        QVERIFY(recollect({ { "orvo-extras", true }, { "no-such-repo", false }, { "another", true } }));
        QVERIFY(presenter_.dialogs.isEmpty());
        const Package::Entry* walnut = find(*engine_, "walnut");
        QVERIFY(walnut);
        QCOMPARE(walnut->repo, QString("orvo-extras"));
        QCOMPARE(engine_->enabledRepos().size(), 3);
        // For this session only: the next collection goes by the configuration again.
        QVERIFY(recollect({}));
        QCOMPARE(dump(*engine_), first_);
    }

    void noneEnabled()
    {
        QVERIFY(!recollect({ { "orvo-base", false }, { "orvo-updates", false } }));
        QCOMPARE(presenter_.dialogs.size(), 1);
        QCOMPARE(presenter_.dialogs[0].text,
                 QString("No repositories are enabled.\n"
                         "Under the Repositories menu, Edit Configuration can be used to configure repositories."));
        QCOMPARE(engine_->count(), 0);
        presenter_.dialogs.clear();
        QVERIFY(recollect({}));
        QCOMPARE(dump(*engine_), first_);
    }

private:
    bool recollect(const QHash<QString, bool>& requests)
    {
        if (!engine_->clear())
            return false;
        return engine_->collect(requests);
    }

    QTemporaryDir root_;
    YumIO* engine_ = nullptr;
    RecordingPresenter presenter_;
    QStringList first_;
};

QTEST_GUILESS_MAIN(TestCatalogue)
#include "tst_catalogue.moc"
