// The package description dialogs on the sandbox system, with the real companion
// script and dnf behind the engine.

#include "SandboxRoot.h"
#include "RecordingPresenter.h"

#include "packagetable/PackageTableDescribeDialog.h"
#include "packagetable/PackageTableDescribeInstanceArea.h"
#include "packagetable/PackageTableDescribeInstanceRepoDialog.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "packagetable/PackageTableView.h"
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
        QString why;
        engine_ = startSandboxEngine(root_.path(), &presenter_, why);
        QVERIFY2(engine_, qPrintable(why));
        conf_ = new YumConfIO(requests_, used_);
        QVERIFY(conf_->read(nullptr));
    }

    void cleanupTestCase()
    {
        stopSandboxEngine(engine_);
        delete conf_;
    }

    void cleanup() { QVERIFY2(presenter_.dialogs.isEmpty(), qPrintable(presenter_.dialogs.value(0).text)); }

    void areas_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("full");
        QTest::addColumn<QString>("further");

        // Vendor, packager, URL, relocations, conflicts and obsoletes are empty and left
        // out; an installed package has no binary RPM.
        QTest::newRow("update, two installed")
            << "kettle"
            << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,Build Time,Build Host,"
               "Binary RPM,Source RPM,License,Provides,Files,Change Log"
            << "Version,Architecture,Size,Build Time,Files,Change Log";
        QTest::newRow("installed, relocatable") << "tomato"
                                     << "Kind,Version,Repository,Architecture,Size,Summary,Description,Group,Build Time,"
                                        "Build Host,Install Time,License,Relocations,Provides,Requires,Files,Change Log"
                                     << "";
        // The kind and the member lists that are not empty; no files, no change log.
        QTest::newRow("group") << "Orchard"
                               << "Kind,Mandatory Packages,Default Packages,Optional Packages,Conditional Packages"
                               << "";
    }

    void areas()
    {
        QFETCH(QString, name);

        const Package::Entry* entry = find(name);
        Dialog dialog(nullptr);
        dialog.config(engine_, *entry, conf_);
        dialog.config(engine_, *entry, conf_);
        const QList<Area*> areas = dialog.areas();
        QCOMPARE(dialog.findChildren<Area*>().size(), areas.size());
        QTEST(areas[0]->labels().join(','), "full");
        for (const Area* area : areas.mid(1))
            QTEST(area->labels().join(','), "further");
        // Only a repository other than "installed" can be described.
        QCOMPARE(areas[0]->button("Repository") != nullptr, entry->repo != "installed" && entry->kind != Package::Group);
    }

    // Enter and a double click describe the current row; a double click on the Action
    // cell only steps its action.
    void fromTheTable_data()
    {
        QTest::addColumn<QString>("gesture");
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("described");
        QTest::newRow("return") << "return" << int(PackageTable::Model::NameColumn) << 1;
        QTest::newRow("keypad enter") << "enter" << int(PackageTable::Model::ActionColumn) << 1;
        QTest::newRow("double click, name") << "double" << int(PackageTable::Model::NameColumn) << 1;
        QTest::newRow("double click, action") << "double" << int(PackageTable::Model::ActionColumn) << 0;
    }

    void fromTheTable()
    {
        QFETCH(QString, gesture);
        QFETCH(int, column);
        QFETCH(int, described);
        PackageTable::Model model(engine_, nullptr);
        model.setYumConfIO(conf_);
        model.reset();
        PackageTable::SortFilterProxyModel proxy(PackageTable::All, true, true, engine_, nullptr);
        proxy.setSourceModel(&model);
        proxy.setFilterRegExp(".*");
        PackageTable::View view(&model, &proxy, nullptr);
        view.resize(900, 400);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        const QModelIndex index = proxy.index(0, column);
        view.setCurrentIndex(index);
        Answers answers;
        if (gesture == "double") {
            const QPoint at = view.visualRect(index).center();
            QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, at);
            QTest::mouseDClick(view.viewport(), Qt::LeftButton, {}, at);
        } else {
            QTest::keyClick(&view, gesture == "return" ? Qt::Key_Return : Qt::Key_Enter,
                            gesture == "return" ? Qt::NoModifier : Qt::KeypadModifier);
        }
        QCOMPARE(answers.shown.size(), described);
        model.clearActions();
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

        // An installed version reads its own header: nothing to load.
        Answers answers;
        dialog.areas()[1]->button("Files")->click();
        QVERIFY(!engine_->fileListsLoaded());
        QCOMPARE(answers.shown.value(0),
                 QString("pear 1.0-1 File List|/usr/share/pear\n/usr/share/pear/README\n/usr/share/pear/pear.conf"));

        update->button("Files")->click();
        QCOMPARE(texts(), QString("Show,Show (must load extra data),Show,Show"));
        QVERIFY(answers.shown.value(1).startsWith("pear 1.1-1 File List|"));

        update->button("Change Log")->click();
        QCOMPARE(texts(), QString("Show,Show,Show,Show"));
    }

    void repository()
    {
        Dialog dialog(nullptr);
        dialog.config(engine_, *find("pear"), conf_);
        const Area* update = dialog.areas()[0];
        // The source row repeats the binary RPM.
        QCOMPARE(update->value("Source RPM"), update->value("Binary RPM"));

        Answers answers;
        update->button("Repository")->click();
        QCOMPARE(answers.shown, QStringList { "Orvo Repository Description|" });
        QCOMPARE(update->repoDialog()->findChild<QLabel*>("urls")->text(),
                 "file://" + qEnvironmentVariable("ORVO_SANDBOX") + "/repos/updates");

        // Passwords carried in a URL are masked.
        Repo::Entry larder;
        larder.baseurl = "http://larder.invalid/larder?user=ann&pass=secret&path=/orvo";
        update->repoDialog()->config(larder);
        QCOMPARE(update->repoDialog()->findChild<QLabel*>("urls")->text(),
                 QString("http://larder.invalid/larder?user=ann&pass=********&path=/orvo"));
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
        // A package object as the script presents one, with a long description and many
        // provides.
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
                        "        return [('long(%d)' % i, None, None) for i in range(3000)] if name == 'provides' else []\n");
            entry.yumObject = engine_->pyr("LongPackage()");
        }

        Dialog dialog(nullptr);
        dialog.config(engine_, entry, conf_);
        const Area* area = dialog.areas()[0];
        QCOMPARE(area->value("Description").count('\n'), 19999);
        // Long values scroll in views of a few lines.
        for (const QPlainTextEdit* view : area->findChildren<QPlainTextEdit*>())
            QVERIFY(view->height() < 12 * view->fontMetrics().lineSpacing());
        const QSize screen = ScreenLimit::maximum(&dialog);
        const QSize hint = dialog.sizeHint();
        QVERIFY(hint.width() <= screen.width() && hint.height() <= screen.height());
        // Room for the area: its new rows are measured.
        QVERIFY(hint.width() >= area->sizeHint().width());

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
