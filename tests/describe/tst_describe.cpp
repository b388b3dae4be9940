// The package description dialogs on the sandbox system, with the real companion
// script and dnf behind the engine.

#include "SandboxRoot.h"
#include "RecordingPresenter.h"

#include "packagetable/PackageTableDescribeDialog.h"
#include "packagetable/PackageTableDescribeInstanceArea.h"
#include "packagetable/PackageTableDescribeInstanceRepoDialog.h"
#include "repo/YumConfIO.h"
#include "repo/YumRepoEnabled.h"
#include "widgets/HTextEdit.h"
#include "widgets/ModalAnswer.h"
#include "widgets/ScreenLimit.h"
#include "widgets/TextDialog.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using PackageTable::Describe::Dialog;
using PackageTable::Describe::Instance::Area;
using PackageTable::Describe::Instance::RepoDialog;

namespace {

// Accepts every modal dialog, noting "title|text" (the text of text dialogs only).
class Answers final
{
public:
    Answers()
    {
        ModalAnswer::install([this](QDialog& dialog) {
            auto* text = qobject_cast<TextDialog*>(&dialog);
            shown.append(dialog.windowTitle() + "|" + (text ? text->editor()->toPlainText() : QString()));
            if (inspect)
                inspect(dialog);
            return int(QDialog::Accepted);
        });
    }
    ~Answers() { ModalAnswer::clear(); }

    QStringList shown;
    std::function<void(QDialog&)> inspect;
};

} // namespace

class TestDescribe final : public QObject
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
        conf_ = new YumConfIO(requests_, used_);
        QVERIFY(conf_->read(nullptr));
        engine_ = new YumIO;
        engine_->setup(nullptr, nullptr, nullptr);
        QVERIFY(engine_->initialize());
        QVERIFY(engine_->collect({}));
    }

    void cleanupTestCase()
    {
        if (engine_)
            engine_->clearEntriesBeforeQuit();
        delete engine_;
        delete conf_;
        YumIODialogsPresenter::install(nullptr);
    }

    void cleanup() { QVERIFY2(presenter_.dialogs.isEmpty(), qPrintable(presenter_.dialogs.value(0).text)); }

    void areas_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("headers");
        QTest::addColumn<QString>("full");
        QTest::addColumn<QString>("further");

        // Vendor, packager, URL, relocations, conflicts and obsoletes are empty and left
        // out; an installed package has no binary RPM.
        QTest::newRow("installed") << "plum" << "Installed"
                                   << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,Build Time,"
                                      "Build Host,Install Time,License,Provides,Requires,Files,Change Log"
                                   << "";
        QTest::newRow("update, two installed")
            << "kettle" << "Available for update,Installed,Installed"
            << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,Build Time,Build Host,"
               "Binary RPM,Source RPM,License,Provides,Files,Change Log"
            << "Version,Architecture,Size,Build Time,Files,Change Log";
        QTest::newRow("update, one installed")
            << "pear" << "Available for update,Installed"
            << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,Vendor,Build Time,Build Host,"
               "Binary RPM,Source RPM,License,Packager,URL,Provides,Requires,Files,Change Log"
            << "Version,Architecture,Size,Build Time,Packager,Files,Change Log";
        QTest::newRow("relocatable") << "tomato" << "Installed"
                                     << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,Build Time,"
                                        "Build Host,Install Time,License,Relocations,Provides,Requires,Files,Change Log"
                                     << "";
        // The kind and the member lists that are not empty; no files, no change log.
        QTest::newRow("group") << "Orchard" << "Available for update"
                               << "Kind,Mandatory Packages,Default Packages,Optional Packages,Conditional Packages"
                               << "";
    }

    void areas()
    {
        QFETCH(QString, name);
        QFETCH(QString, headers);
        QFETCH(QString, full);
        QFETCH(QString, further);

        const Package::Entry* entry = find(name);
        Dialog dialog(nullptr);
        dialog.config(engine_, *entry, conf_);
        dialog.config(engine_, *entry, conf_);
        const QList<Area*> areas = dialog.areas();
        QCOMPARE(dialog.findChildren<Area*>().size(), areas.size());
        QStringList seen;
        for (const Area* area : areas)
            seen.append(area->header());
        QCOMPARE(seen.join(','), headers);
        QCOMPARE(areas[0]->labels().join(','), full);
        for (const Area* area : areas.mid(1))
            QCOMPARE(area->labels().join(','), further);
        // Only a repository other than "installed" can be described.
        QCOMPARE(areas[0]->button("Repository") != nullptr, entry->repo != "installed" && entry->kind != Package::Group);
    }

    void showTexts_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("version");
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("shown");

        // Installed versions read their own header: nothing to load.
        QTest::newRow("files") << "pear" << "1.0-1" << "Files"
                               << "pear 1.0-1 File List|/usr/share/pear\n/usr/share/pear/README\n/usr/share/pear/pear.conf";
        QTest::newRow("change log")
            << "pear" << "1.0-1" << "Change Log"
            << "pear 1.0-1 Change Log|* Mon Jan  6 2025 Orvo Developers <dev@orvo.invalid> - 1.0-1\n- First harvest.";
        QTest::newRow("second installed version")
            << "kettle" << "2.0-1" << "Files" << "kettle 2.0-1 File List|/usr/share/kettle/2.0\n/usr/share/kettle/2.0/README";
    }

    void showTexts()
    {
        QFETCH(QString, name);
        QFETCH(QString, version);
        QFETCH(QString, row);
        QFETCH(QString, shown);

        Dialog dialog(nullptr);
        dialog.config(engine_, *find(name), conf_);
        // The order of installed versions is the package manager's.
        const Area* area = nullptr;
        for (const Area* a : dialog.areas())
            if (a->value("Version") == version)
                area = a;
        Answers answers;
        area->button(row)->click();
        QCOMPARE(answers.shown, QStringList { shown });
        QVERIFY(!engine_->fileListsLoaded());
    }

    void extraDataButtons()
    {
        Dialog dialog(nullptr);
        dialog.config(engine_, *find("pear"), conf_);
        const Area* update = dialog.areas()[0];
        const auto texts = [&] {
            QStringList list;
            for (const Area* area : dialog.areas())
                list << area->button("Files")->text() << area->button("Change Log")->text();
            return list.join(',');
        };
        QCOMPARE(texts(), QString("Show (must load extra data),Show (must load extra data),Show,Show"));

        Answers answers;
        update->button("Files")->click();
        QVERIFY(dialog.isReady() && dialog.isEnabled());
        QCOMPARE(texts(), QString("Show,Show (must load extra data),Show,Show"));
        QCOMPARE(answers.shown.size(), 1);
        QVERIFY(answers.shown[0].startsWith("pear 1.1-1 File List|"));
        QVERIFY(answers.shown[0].contains("\n/usr/share/pear/README\n"));

        update->button("Change Log")->click();
        QCOMPARE(texts(), QString("Show,Show,Show,Show"));
        QVERIFY(answers.shown[1].startsWith("pear 1.1-1 Change Log|* Wed Mar  5 2025 Orvo Developers"));
    }

    void repository()
    {
        Dialog dialog(nullptr);
        dialog.config(engine_, *find("pear"), conf_);
        const Area* update = dialog.areas()[0];
        // The source row repeats the binary RPM.
        QVERIFY(update->value("Binary RPM").endsWith("pear-1.1-1.x86_64.rpm"));
        QCOMPARE(update->value("Source RPM"), update->value("Binary RPM"));
        QCOMPARE(update->value("Requires"), QString("pear-data >= 1.1"));

        Answers answers;
        QStringList rows;
        answers.inspect = [&](QDialog& shown) {
            for (const char* name : { "repoName", "urls", "mirrorlist" })
                rows << shown.findChild<QLabel*>(name)->text();
            auto* browse = shown.findChild<QPushButton*>("browse");
            rows << browse->text() << browse->toolTip() << shown.findChild<QPushButton*>("close")->text();
        };
        QCOMPARE(update->button("Repository")->text(), QString("Details"));
        update->button("Repository")->click();
        QCOMPARE(answers.shown, QStringList { "Orvo Repository Description|" });
        QCOMPARE(rows, QStringList({ "Orvo Sandbox Updates $releasever - $basearch",
                                     "file://" + qEnvironmentVariable("ORVO_SANDBOX") + "/repos/updates", "",
                                     "Browse Repository",
                                     "Browse the first URL specified for the selected repository using an external "
                                     "web browser",
                                     "Close" }));
        QCOMPARE(update->repoDialog()->entry().id, QString("orvo-updates"));

        // Passwords carried in a URL are masked; browsing uses the URL as written.
        Repo::Entry larder;
        larder.baseurl = "http://larder.invalid/larder?user=ann&pass=secret&path=/orvo";
        update->repoDialog()->config(larder);
        QCOMPARE(update->repoDialog()->findChild<QLabel*>("urls")->text(),
                 QString("http://larder.invalid/larder?user=ann&pass=********&path=/orvo"));
        QCOMPARE(update->repoDialog()->entry().baseurl, larder.baseurl);
    }

    void notReadyStaysOpen()
    {
        Dialog dialog(nullptr);
        dialog.config(engine_, *find("plum"), conf_);
        bool stayed = false;
        Answers answers;
        answers.inspect = [&](QDialog&) {
            dialog.setReady(false);
            dialog.close();
            dialog.reject();
            stayed = dialog.isVisible() && !dialog.isEnabled() && dialog.areas().size() == 1;
            dialog.setReady(true);
        };
        QCOMPARE(dialog.exec(), int(QDialog::Accepted));
        QVERIFY(stayed);
        // Closed, it keeps no reference into the catalogue, which a collection replaces.
        QVERIFY(dialog.areas().isEmpty());
    }

    void longValues()
    {
        // A package object as the script presents one, with a long description, many
        // provides and thousands of files.
        Package::Entry entry;
        entry.name = "long";
        entry.verRel = "1.0-1";
        entry.repo = "installed";
        {
            Python::PyGILStateWrapper lock(true);
            engine_->py("class LongPackage:\n"
                        "    def returnSimple(self, name):\n"
                        "        if name != 'description': raise KeyError(name)\n"
                        "        return '\\n'.join('Line %d of a description that is long enough to wrap.' % i\n"
                        "                         for i in range(20000))\n"
                        "    def returnPrco(self, name):\n"
                        "        return [('long(%d)' % i, None, None) for i in range(3000)] if name == 'provides' else []\n"
                        "    def returnFileEntries(self, kind):\n"
                        "        return ['/usr/share/long/file%05d' % i for i in range(5000)]\n");
            entry.yumObject = PyRef::steal(engine_->pyr("LongPackage()"));
        }
        QVERIFY(entry.yumObject);

        Dialog dialog(nullptr);
        dialog.config(engine_, entry, conf_);
        const Area* area = dialog.areas()[0];
        QCOMPARE(area->value("Description").count('\n'), 19999);
        // Long values scroll in views of a few lines.
        const QList<QPlainTextEdit*> views = area->findChildren<QPlainTextEdit*>();
        QCOMPARE(views.size(), 2);
        for (const QPlainTextEdit* view : views)
            QVERIFY(view->height() < 12 * view->fontMetrics().lineSpacing());
        const QSize screen = ScreenLimit::maximum(&dialog);
        const QSize hint = dialog.sizeHint();
        QVERIFY(hint.width() <= screen.width() && hint.height() <= screen.height());
        // Room for the area: its new rows are measured.
        QVERIFY(hint.width() >= area->sizeHint().width());

        Answers answers;
        QSize shownSize;
        answers.inspect = [&](QDialog& shown) { shownSize = shown.size(); };
        QCOMPARE(dialog.exec(), int(QDialog::Accepted));
        QCOMPARE(shownSize, hint);

        dialog.config(engine_, entry, conf_);
        dialog.areas()[0]->button("Files")->click();
        QVERIFY(answers.shown.value(1).startsWith("long 1.0-1 File List|"));
        QCOMPARE(answers.shown[1].count('\n'), 4999);
        QVERIFY(shownSize.width() <= screen.width() && shownSize.height() <= screen.height());
        dialog.done(QDialog::Accepted);

        Python::PyGILStateWrapper lock(true);
        entry.yumObject.reset();
    }

private:
    const Package::Entry* find(const QString& name) const
    {
        for (const Package::Entry* entry : engine_->catalogue())
            if (entry->name == name && !entry->duplicate)
                return entry;
        return nullptr;
    }

    QTemporaryDir root_;
    YumIO* engine_ = nullptr;
    RecordingPresenter presenter_;
    QList<YumRepoEnabled> requests_;
    YumConfIO::UseTable used_;
    YumConfIO* conf_ = nullptr;
};

QTEST_MAIN(TestDescribe)
#include "tst_describe.moc"
