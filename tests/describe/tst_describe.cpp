// The package description dialogs on the sandbox system, with the real companion
// script and dnf behind the engine.

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

// What a modal dialog showed before it was answered.
struct Shown {
    QString title;
    QString text;
    QString className;
};

// Answers every modal dialog with accept, after noting what it showed.
class Answers final
{
public:
    Answers()
    {
        ModalAnswer::install([this](QDialog& dialog) {
            Shown seen { dialog.windowTitle(), QString(), dialog.metaObject()->className() };
            if (auto* text = qobject_cast<TextDialog*>(&dialog))
                seen.text = text->editor()->toPlainText();
            if (inspect)
                inspect(dialog);
            shown.append(seen);
            return int(QDialog::Accepted);
        });
    }
    ~Answers() { ModalAnswer::clear(); }

    QList<Shown> shown;
    std::function<void(QDialog&)> inspect;
};

QString areaLabels(const Area* area)
{
    return area->labels().join(',');
}

} // namespace

class TestDescribe final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void areas_data();
    void areas();
    void values();
    void showTexts_data();
    void showTexts();
    void extraDataButtons();
    void repository();
    void notReadyStaysOpen();
    void longValues();

private:
    const Package::Entry* find(const QString& name, const QString& arch = QString(), bool group = false) const;

    QTemporaryDir root_;
    YumIO* engine_ = nullptr;
    RecordingPresenter presenter_;
    QList<YumRepoEnabled> requests_;
    YumConfIO::UseTable used_;
    YumConfIO* conf_ = nullptr;
};

void TestDescribe::initTestCase()
{
    QVERIFY(root_.isValid());
    const QString sandbox = qEnvironmentVariable("ORVO_SANDBOX");
    QVERIFY2(QFile::exists(sandbox + "/root/etc/yum.conf"), qPrintable(sandbox));
    // The system is changed by use (caches, locks): work on a copy.
    QCOMPARE(QProcess::execute("cp", { "-a", sandbox + "/root/.", root_.path() }), 0);
    qputenv("ORVOROOT", root_.path().toLocal8Bit());
    std::signal(SIGINT, SIG_DFL);
    YumIODialogsPresenter::install(&presenter_);
    conf_ = new YumConfIO(requests_, used_);
    QVERIFY(conf_->read(nullptr));
    engine_ = new YumIO;
    engine_->setup(nullptr, nullptr, nullptr);
    QVERIFY(engine_->initialize());
    QVERIFY(engine_->collect({}));
    QVERIFY(!engine_->fileListsLoaded());
    QVERIFY(!engine_->otherDataLoaded());
}

void TestDescribe::cleanupTestCase()
{
    if (engine_)
        engine_->clearEntriesBeforeQuit();
    delete engine_;
    delete conf_;
    YumIODialogsPresenter::install(nullptr);
}

void TestDescribe::init()
{
    QVERIFY2(presenter_.dialogs.isEmpty(), qPrintable(presenter_.dialogs.value(0).text));
}

const Package::Entry* TestDescribe::find(const QString& name, const QString& arch, bool group) const
{
    for (const Package::Entry* entry : engine_->catalogue())
        if (entry->name == name && (group == (entry->kind == Package::Group)) && (arch.isEmpty() || entry->arch == arch))
            return entry;
    return nullptr;
}

void TestDescribe::areas_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("group");
    QTest::addColumn<QStringList>("headers");
    QTest::addColumn<QString>("full");
    QTest::addColumn<QString>("shortLabels");

    const QString shortKettle = "Version,Architecture,Size,Build Time,Files,Change Log";
    // Vendor, packager, URL, relocations, conflicts and obsoletes are empty and left
    // out, and an installed package has no binary RPM.
    QTest::newRow("installed plum") << "plum" << false << QStringList { "Installed" }
                                    << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,"
                                       "Build Time,Build Host,Install Time,License,Provides,Requires,Files,Change Log"
                                    << QString();
    // The update and each of its two installed versions.
    QTest::newRow("kettle update, two installed")
        << "kettle" << false << QStringList { "Available for update", "Installed", "Installed" }
        << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,Build Time,Build Host,"
           "Binary RPM,Source RPM,License,Provides,Files,Change Log"
        << shortKettle;
    QTest::newRow("pear update, one installed")
        << "pear" << false << QStringList { "Available for update", "Installed" }
        << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,Vendor,Build Time,Build Host,"
           "Binary RPM,Source RPM,License,Packager,URL,Provides,Requires,Files,Change Log"
        << "Version,Architecture,Size,Build Time,Packager,Files,Change Log";
    QTest::newRow("relocatable tomato")
        << "tomato" << false << QStringList { "Installed" }
        << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,Build Time,Build Host,"
           "Install Time,License,Relocations,Provides,Requires,Files,Change Log"
        << QString();
    // Only the kind and the member lists that are not empty; no files, no change log.
    QTest::newRow("group") << "Orchard" << true << QStringList { "Available for update" }
                           << "Kind,Mandatory Packages,Default Packages,Optional Packages,Conditional Packages"
                           << QString();
}

void TestDescribe::areas()
{
    QFETCH(QString, name);
    QFETCH(bool, group);
    QFETCH(QStringList, headers);
    QFETCH(QString, full);
    QFETCH(QString, shortLabels);

    const Package::Entry* entry = find(name, QString(), group);
    QVERIFY(entry);
    Dialog dialog(nullptr);
    dialog.config(engine_, *entry, conf_);
    const QList<Area*> areas = dialog.areas();
    QStringList seen;
    for (const Area* area : areas)
        seen.append(area->header());
    QCOMPARE(seen, headers);
    QCOMPARE(areaLabels(areas[0]), full);
    for (int i = 1; i < areas.size(); ++i)
        QCOMPARE(areaLabels(areas[i]), shortLabels);
    // The dialog asks for room for its areas, within the screen.
    const QSize screen = ScreenLimit::maximum(&dialog);
    for (const Area* area : areas)
        QVERIFY(dialog.sizeHint().width() >= qMin(area->sizeHint().width(), screen.width()));
    QVERIFY(dialog.sizeHint().height() >= qMin(areas[0]->sizeHint().height(), screen.height()));
    // Only a package from a repository can have its repository described.
    QCOMPARE(areas[0]->button("Repository") != nullptr, entry->repo != "installed" && !group);
    // Configuring again replaces the areas.
    dialog.config(engine_, *entry, conf_);
    QCOMPARE(dialog.areas().size(), headers.size());
    QCOMPARE(dialog.findChildren<Area*>().size(), headers.size());
}

void TestDescribe::values()
{
    Dialog dialog(nullptr);
    dialog.config(engine_, *find("pear"), conf_);
    const Area* update = dialog.areas()[0];
    QCOMPARE(update->value("Version"), QString("1.1-1"));
    QCOMPARE(update->value("Repository"), QString("orvo-updates"));
    QCOMPARE(update->button("Repository")->text(), QString("Details"));
    QCOMPARE(update->value("Description"), QString("A pear that ripens in the sandbox.\nIt has two lines of description."));
    QVERIFY(update->value("Binary RPM").endsWith("pear-1.1-1.x86_64.rpm"));
    // The source row repeats the binary RPM.
    QCOMPARE(update->value("Source RPM"), update->value("Binary RPM"));
    QVERIFY(update->value("Requires").split('\n').contains("pear-data >= 1.1"));
    const Area* installed = dialog.areas()[1];
    QCOMPARE(installed->value("Version"), QString("1.0-1"));
    QCOMPARE(installed->value("Packager"), QString("Orvo Developers <dev@orvo.invalid>"));
    // Plain text: the packager's address is not taken for markup.
    QVERIFY(!installed->findChildren<QLabel*>().isEmpty());
    for (const QLabel* label : installed->findChildren<QLabel*>())
        QCOMPARE(label->textFormat(), Qt::PlainText);

    dialog.config(engine_, *find("tomato"), conf_);
    QCOMPARE(dialog.areas()[0]->value("Relocations"), QString("/opt/tomato"));
    dialog.config(engine_, *find("Orchard", QString(), true), conf_);
    QCOMPARE(dialog.areas()[0]->value("Mandatory Packages"), QString("pear\nquince"));
    QCOMPARE(dialog.areas()[0]->value("Kind"), QString("Group of packages"));
}

void TestDescribe::showTexts_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("area");
    QTest::addColumn<QString>("row");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");

    // Installed versions read their own header: nothing to load.
    QTest::newRow("files") << "pear" << 1 << "Files" << "pear 1.0-1 File List"
                           << "/usr/share/pear\n/usr/share/pear/README\n/usr/share/pear/pear.conf";
    QTest::newRow("change log") << "pear" << 1 << "Change Log" << "pear 1.0-1 Change Log"
                                << "* Mon Jan  6 2025 Orvo Developers <dev@orvo.invalid> - 1.0-1\n- First harvest.";
    QTest::newRow("second installed version") << "kettle" << 2 << "Files" << "kettle 2.0-1 File List"
                                              << "/usr/share/kettle/2.0\n/usr/share/kettle/2.0/README";
}

void TestDescribe::showTexts()
{
    QFETCH(QString, name);
    QFETCH(int, area);
    QFETCH(QString, row);
    QFETCH(QString, title);
    QFETCH(QString, text);

    Dialog dialog(nullptr);
    dialog.config(engine_, *find(name), conf_);
    // The order of installed versions is the package manager's: find the one meant.
    const QList<Area*> areas = dialog.areas();
    const QString version = title.section(' ', 1, 1);
    const Area* shown = nullptr;
    for (const Area* a : areas)
        if (a->value("Version") == version)
            shown = a;
    QVERIFY(shown);
    QVERIFY(area < areas.size());
    Answers answers;
    shown->button(row)->click();
    QCOMPARE(answers.shown.size(), 1);
    QCOMPARE(answers.shown[0].className, QString("TextDialog"));
    QCOMPARE(answers.shown[0].title, title);
    QCOMPARE(answers.shown[0].text, text);
    QVERIFY(!engine_->fileListsLoaded());
}

void TestDescribe::extraDataButtons()
{
    QVERIFY(!engine_->fileListsLoaded());
    QVERIFY(!engine_->otherDataLoaded());
    Dialog dialog(nullptr);
    dialog.config(engine_, *find("pear"), conf_);
    const Area* update = dialog.areas()[0];
    const Area* installed = dialog.areas()[1];
    QCOMPARE(update->button("Files")->text(), QString("Show (must load extra data)"));
    QCOMPARE(update->button("Change Log")->text(), QString("Show (must load extra data)"));
    QCOMPARE(installed->button("Files")->text(), QString("Show"));
    QCOMPARE(installed->button("Change Log")->text(), QString("Show"));

    Answers answers;
    update->button("Files")->click();
    QVERIFY(engine_->fileListsLoaded());
    QVERIFY(dialog.isReady());
    QVERIFY(dialog.isEnabled());
    QCOMPARE(update->button("Files")->text(), QString("Show"));
    QCOMPARE(update->button("Change Log")->text(), QString("Show (must load extra data)"));
    QCOMPARE(answers.shown.size(), 1);
    QCOMPARE(answers.shown[0].title, QString("pear 1.1-1 File List"));
    QVERIFY(answers.shown[0].text.split('\n').contains("/usr/share/pear/README"));

    // Another dialog sees the data as loaded from the start.
    Dialog other(nullptr);
    other.config(engine_, *find("kettle"), conf_);
    QCOMPARE(other.areas()[0]->button("Files")->text(), QString("Show"));

    update->button("Change Log")->click();
    QVERIFY(engine_->otherDataLoaded());
    QCOMPARE(update->button("Change Log")->text(), QString("Show"));
    QCOMPARE(other.areas()[0]->button("Change Log")->text(), QString("Show"));
    QCOMPARE(answers.shown.size(), 2);
    QCOMPARE(answers.shown[1].title, QString("pear 1.1-1 Change Log"));
    QVERIFY(answers.shown[1].text.startsWith("* Wed Mar  5 2025 Orvo Developers <dev@orvo.invalid> - 1.1-1\n- Crisper skin.\n"));
}

void TestDescribe::repository()
{
    Dialog dialog(nullptr);
    dialog.config(engine_, *find("pear"), conf_);
    Answers answers;
    QString name, urls, mirrorlist, browseTip;
    answers.inspect = [&](QDialog& shown) {
        name = shown.findChild<QLabel*>("repoName")->text();
        urls = shown.findChild<QLabel*>("urls")->text();
        mirrorlist = shown.findChild<QLabel*>("mirrorlist")->text();
        auto* browse = shown.findChild<QPushButton*>("browse");
        browseTip = browse->text() + "|" + browse->toolTip();
        QCOMPARE(shown.findChild<QPushButton*>("close")->text(), QString("Close"));
    };
    dialog.areas()[0]->button("Repository")->click();
    QCOMPARE(answers.shown.size(), 1);
    QCOMPARE(answers.shown[0].title, QString("Orvo Repository Description"));
    QCOMPARE(answers.shown[0].className, QString("PackageTable::Describe::Instance::RepoDialog"));
    QCOMPARE(name, QString("Orvo Sandbox Updates $releasever - $basearch"));
    QCOMPARE(urls, "file://" + qEnvironmentVariable("ORVO_SANDBOX") + "/repos/updates");
    QCOMPARE(mirrorlist, QString());
    QCOMPARE(browseTip, QString("Browse Repository|Browse the first URL specified for the selected repository "
                                "using an external web browser"));
    QCOMPARE(dialog.areas()[0]->repoDialog()->entry().id, QString("orvo-updates"));

    // Passwords carried in a URL are not shown.
    Repo::Entry larder;
    larder.id = "larder";
    larder.baseurl = "http://larder.invalid/larder?user=ann&pass=secret&path=/orvo";
    RepoDialog repoDialog(engine_, nullptr);
    repoDialog.config(larder);
    QCOMPARE(repoDialog.findChild<QLabel*>("urls")->text(),
             QString("http://larder.invalid/larder?user=ann&pass=********&path=/orvo"));
    QCOMPARE(repoDialog.entry().baseurl, larder.baseurl);
}

void TestDescribe::notReadyStaysOpen()
{
    Dialog dialog(nullptr);
    dialog.config(engine_, *find("plum"), conf_);
    bool stayed = false;
    Answers answers;
    answers.inspect = [&](QDialog& shown) {
        dialog.setReady(false);
        QVERIFY(!dialog.isEnabled());
        shown.close();
        shown.reject();
        stayed = shown.isVisible() && dialog.areas().size() == 1;
        dialog.setReady(true);
    };
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QVERIFY(stayed);
    QVERIFY(!dialog.isVisible());
    // Closed, it keeps no reference into the catalogue.
    QVERIFY(dialog.areas().isEmpty());
}

void TestDescribe::longValues()
{
    // A package object as the script presents one, with a long description, many
    // provides and thousands of files.
    Package::Entry entry;
    entry.state = Package::Installed;
    entry.kind = Package::Ordinary;
    entry.name = "long";
    entry.verRel = "1.0-1";
    entry.repo = "installed";
    {
        Python::PyGILStateWrapper lock(true);
        engine_->py("class LongPackage:\n"
                    "    def returnSimple(self, name):\n"
                    "        if name == 'description':\n"
                    "            return '\\n'.join('Line %d of a long description, long enough to need wrapping '\n"
                    "                             'on a narrow screen and more.' % i for i in range(20000))\n"
                    "        if name == 'summary':\n"
                    "            return 'A package with much to say'\n"
                    "        raise KeyError(name)\n"
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
    QCOMPARE(area->value("Provides").count('\n'), 2999);
    // Long values scroll in views of a few lines; short ones stay labels.
    const QList<QPlainTextEdit*> views = area->findChildren<QPlainTextEdit*>();
    QCOMPARE(views.size(), 2);
    for (const QPlainTextEdit* view : views)
        QVERIFY(view->height() < 20 * view->fontMetrics().lineSpacing());
    const QSize screen = ScreenLimit::maximum(&dialog);
    const QSize hint = dialog.sizeHint();
    QVERIFY(hint.width() <= screen.width() && hint.height() <= screen.height());
    QVERIFY(hint.width() >= area->sizeHint().width());

    Answers answers;
    QSize shownSize;
    answers.inspect = [&](QDialog& shown) { shownSize = shown.size(); };
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QCOMPARE(shownSize, hint);

    dialog.config(engine_, entry, conf_);
    dialog.areas()[0]->button("Files")->click();
    QCOMPARE(answers.shown.size(), 2);
    QCOMPARE(answers.shown[1].title, QString("long 1.0-1 File List"));
    QCOMPARE(answers.shown[1].text.count('\n'), 4999);
    QVERIFY(shownSize.width() <= screen.width() && shownSize.height() <= screen.height());
    dialog.done(QDialog::Accepted);

    Python::PyGILStateWrapper lock(true);
    entry.yumObject.reset();
}

QTEST_MAIN(TestDescribe)
#include "tst_describe.moc"
