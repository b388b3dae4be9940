// The catalogue collected from the sandbox system by the real companion script and dnf.

#include "SandboxRoot.h"
#include "RecordingPresenter.h"

#include "python/PyRef.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

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
        QString why;
        engine_ = startSandboxEngine(root_.path(), &presenter_, why);
        QVERIFY2(engine_, qPrintable(why));
        QVERIFY2(presenter_.dialogs.isEmpty(), qPrintable(presenter_.dialogs.value(0).text));
        QVERIFY(engine_->yumLocked());
        first_ = dump(*engine_);
    }

    void cleanupTestCase()
    {
        stopSandboxEngine(engine_);
    }

    void init() { presenter_.dialogs.clear(); }

    void rows_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("arch");
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("verRel");
        QTest::addColumn<QString>("repo");
        QTest::addColumn<QString>("chain");

        // An update holds the slot, the installed versions hang in its chain.
        QTest::newRow("pear update") << "pear" << "x86_64" << 0 << "1.1-1" << "orvo-updates" << "1.0-1.x86_64";
        QTest::newRow("kettle two installed")
            << "kettle" << "x86_64" << 0 << "3.0-1" << "orvo-updates" << "1.0-1.x86_64 2.0-1.x86_64";
        // The noarch update of an x86_64 package shares its slot.
        QTest::newRow("quince to noarch") << "quince" << "noarch" << 0 << "1.1-1" << "orvo-updates" << "1.0-1.x86_64";
        QTest::newRow("grape epoch") << "grape" << "x86_64" << 1 << "2:3.0-1" << "orvo-base" << "";
        // Installed for one word size, the newer version only for the other: still preferred.
        QTest::newRow("medlar installed") << "medlar" << "x86_64" << 2 << "1.0-1" << "installed" << "";
        QTest::newRow("medlar i686") << "medlar" << "i686" << 1 << "1.1-1" << "orvo-updates" << "";
        QTest::newRow("apricot i686 update") << "apricot" << "i686" << 0 << "1.1-1" << "orvo-updates" << "1.0-1.i686";
    }

    void rows()
    {
        QFETCH(QString, name);
        QFETCH(QString, arch);
        QFETCH(int, state);
        QFETCH(QString, verRel);
        QFETCH(QString, repo);

        const Package::Entry* entry = find(*engine_, name, arch);
        QVERIFY2(entry, qPrintable(first_.join('\n')));
        QCOMPARE(int(entry->state), state);
        QVERIFY2(entry->verRel.endsWith(verRel), qPrintable(entry->verRel));
        QCOMPARE(entry->repo, repo);
        QTEST(chainOf(*entry), "chain");
        // Here every i686 build stands beside a preferred x86_64 one.
        QCOMPARE(entry->duplicate, arch == "i686");
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
        QCOMPARE(engine_->preferredEntry("plum"), find(*engine_, "plum", "x86_64"));
        QCOMPARE(engine_->preferredEntry("medlar"), find(*engine_, "medlar", "x86_64"));
    }

    void groups()
    {
        const auto group = [this](const char* name) { return find(*engine_, name, QString(), true); };
        // Installed, but a mandatory member has an update.
        QCOMPARE(group("Orchard")->state, Package::AvailableForUpdate);
        // Its mandatory member's update is for the build that is not the name's preferred entry.
        QCOMPARE(group("Grove")->state, Package::AvailableForUpdate);
        // No mandatory members: installed through a default one.
        QCOMPARE(group("Garden")->state, Package::Installed);
        QCOMPARE(engine_->upToDateGroup(*group("Garden")), 1);
        QCOMPARE(engine_->getMandatoryPkgs(*group("Orchard")), QStringList({ "pear", "quince" }));
        QCOMPARE(engine_->getConditionalPkgs(*group("Orchard")), QStringList({ "fig-extras" }));
    }

    void installedDetails()
    {
        const Package::Entry* pear = find(*engine_, "pear");
        const Package::Entry& installed = *pear->next;
        QCOMPARE(engine_->getDescription(installed), QString("A pear that ripens in the sandbox.\nIt has two lines of description."));
        QVERIFY(engine_->getBinaryRpm(installed).isEmpty());
        QCOMPARE(engine_->getFiles(installed),
                 QStringList({ "/usr/share/pear", "/usr/share/pear/README", "/usr/share/pear/pear.conf" }));
        QCOMPARE(engine_->getChangeLog(installed), QString("* Mon Jan  6 2025 Orvo Developers <dev@orvo.invalid> - 1.0-1\n- First harvest."));

        // No vendor in the header: an empty text, not a placeholder.
        QCOMPARE(engine_->getVendor(*find(*engine_, "plum", "x86_64")), QString());
        // An unversioned entry keeps the blank before its empty comparison.
        QVERIFY(engine_->getProvides(*find(*engine_, "medlar", "x86_64")).contains("medlar-fruit "));

        const Package::Entry* tomato = find(*engine_, "tomato");
        QCOMPARE(engine_->getRelocations(*tomato), QStringList({ "/opt/tomato" }));
    }

    void availableDetails()
    {
        const Package::Entry* pear = find(*engine_, "pear");
        QVERIFY(engine_->getRequires(*pear).contains("pear-data >= 1.1"));
        QVERIFY(engine_->getBinaryRpm(*pear).endsWith("pear-1.1-1.x86_64.rpm"));
        // Change logs of available packages come with the other data, loaded on request.
        QCOMPARE(engine_->getChangeLog(*pear), QString());
        QVERIFY(engine_->getFiles(*pear).contains("/usr/share/pear/README"));
        // Only installed packages carry a header.
        QCOMPARE(engine_->getInstallTime(*pear), QString());
        QVERIFY(presenter_.dialogs.isEmpty());
        PyRef none = PyRef::steal(engine_->getRpmHdrValue(pear->yumObject.get(), "INSTALLTIME"));
        QVERIFY(!none);
        QCOMPARE(presenter_.dialogs.size(), 1);
        QCOMPARE(presenter_.dialogs[0].text, QString("getRpmHdrValue called for package with no hdr (i.e. not installed)"));
        presenter_.dialogs.clear();

        QCOMPARE(engine_->getConflicts(*find(*engine_, "lemon")), QStringList({ "lime" }));
        QCOMPARE(engine_->getObsoletes(*find(*engine_, "cherry-ng")), QStringList({ "cherry < 2.0" }));
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    void extraDataLoadedOnce()
    {
        QSignalSpy spy(engine_, &YumIO::collectedExtraData);
        QVERIFY(engine_->collectFileLists());
        QCOMPARE(spy.count(), 1);
        QVERIFY(engine_->collectFileLists());
        QCOMPARE(spy.count(), 1);
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
            engine_->py("import yumio.catalogue\n"
                        "class _Nameless(object):\n"
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
            // The script object inherits the method from the catalogue part.
            if (!bulk)
                engine_->py("del yumio.catalogue.Catalogue.collectRows\n");
        }
        const bool collected = recollect({});
        {
            YumIO::PyGILStateWrapper lock(true);
            engine_->py("YumIO.collectAll = _collectAll\nyumio.catalogue.Catalogue.collectRows = _bulkRows\n");
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
        QVERIFY(walnut && walnut->repo == "orvo-extras");
        // For this session only: the next collection goes by the configuration again.
        QVERIFY(recollect({}));
        QCOMPARE(dump(*engine_), first_);
    }

    // The installed packages alone, with a warning: they can still be removed offline.
    void noneEnabled()
    {
        QVERIFY(recollect({ { "orvo-base", false }, { "orvo-updates", false } }));
        QCOMPARE(presenter_.dialogs.size(), 1);
        QCOMPARE(presenter_.dialogs[0].kind, QString("warning"));
        QVERIFY(presenter_.dialogs[0].text.startsWith("No repositories are enabled."));
        QVERIFY(find(*engine_, "medlar", "x86_64"));
        for (const Package::Entry* e : engine_->catalogue())
            QVERIFY2(e->kind == Package::Group || e->state == Package::Installed, qPrintable(e->name));
        presenter_.dialogs.clear();
        QVERIFY(recollect({}));
        QCOMPARE(dump(*engine_), first_);
    }

    // One repository that cannot be read is named and left out; the rest is listed.
    // Then the user repairs it and collects again.
    void failingRepositorySkipped_data()
    {
        QTest::addColumn<QString>("damage");
        QTest::newRow("unreachable") << "unreachable";
        QTest::newRow("corrupt metadata") << "corrupt";
    }

    void failingRepositorySkipped()
    {
        QFETCH(QString, damage);
        QTemporaryDir broken;
        QVERIFY(broken.isValid());
        // The base repository again, under another name, broken.
        const QString repoFile = root_.path() + "/etc/yum.repos.d/broken.repo";
        QString url = "file://" + broken.path() + "/missing";
        if (damage == "corrupt") {
            QVERIFY(QProcess::execute("cp", { "-a", QString(qgetenv("ORVO_SANDBOX")) + "/repos/base", broken.path() + "/base" }) == 0);
            QDir repodata(broken.path() + "/base/repodata");
            for (const QString& name : repodata.entryList({ "*primary.xml.gz" })) {
                QFile file(repodata.filePath(name));
                QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
                file.write("this is no gzip stream");
            }
            url = "file://" + broken.path() + "/base";
        }
        QVERIFY(writeText(repoFile, "[orvo-broken]\nname=Broken\nbaseurl=" + url + "\nenabled=1\ngpgcheck=0\n"));
        const bool collected = recollect({});
        QVERIFY2(collected, qPrintable(presenter_.dialogs.value(0).text));
        QCOMPARE(presenter_.dialogs.size(), 1);
        const QString text = presenter_.dialogs[0].text;
        QVERIFY2(text.contains("Unable to initialize") && text.contains("skipped for this session: orvo-broken"),
                 qPrintable(text));
        QVERIFY(!engine_->enabledRepos().contains("orvo-broken"));
        QCOMPARE(dump(*engine_), first_);
        presenter_.dialogs.clear();

        QVERIFY(QFile::remove(repoFile));
        QVERIFY(recollect({}));
        QVERIFY2(presenter_.dialogs.isEmpty(), qPrintable(presenter_.dialogs.value(0).text));
        QCOMPARE(dump(*engine_), first_);
    }

private:
    static bool writeText(const QString& path, const QString& text)
    {
        QFile file(path);
        return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text.toUtf8()) == text.toUtf8().size();
    }

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
