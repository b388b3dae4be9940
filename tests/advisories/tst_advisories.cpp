// The advisories of the sandbox's update information, read by the real companion script
// through dnf: what the engine keeps per update, how the table marks and filters them,
// and how the description shows them.

#include "SandboxRoot.h"
#include "RecordingPresenter.h"

#include "app/Share.h"
#include "packagetable/PackageTableDescribeDialog.h"
#include "packagetable/PackageTableDescribeInstanceAdvisoriesArea.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "repo/YumConfIO.h"
#include "repo/YumRepoEnabled.h"
#include "yumio/AdvisoryStore.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QFile>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using PackageTable::Model;

namespace {

QImage iconImage(const QVariant& icon)
{
    return icon.value<QIcon>().pixmap(16, 16).toImage();
}

} // namespace

class TestAdvisories final : public QObject
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
        model_ = new Model(engine_, this);
        model_->reset();
    }

    void cleanupTestCase()
    {
        delete model_;
        stopSandboxEngine(engine_);
        delete conf_;
    }

    void cleanup()
    {
        model_->clearActions();
        QVERIFY2(presenter_.dialogs.isEmpty(), qPrintable(presenter_.dialogs.value(0).text));
    }

    // Each update's advisories, and its state cell: the shield for a security fix, the
    // advisories in the tool tip.
    void stateCell_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("arch");
        QTest::addColumn<QString>("ids");
        QTest::addColumn<bool>("security");
        QTest::addColumn<QString>("tip");

        const QString update = "Package is available to update an out-of-date version";
        // The advisory also covers apricot's i686 update, which the window's test lists.
        QTest::newRow("security") << "pear" << "x86_64" << "ORVO-SA-2026:0101" << true
                                  << update + "\nSecurity (Important): ORVO-SA-2026:0101";
        QTest::newRow("bug fix") << "kettle" << "x86_64" << "ORVO-BA-2026:0102" << false
                                 << update + "\nBug fix: ORVO-BA-2026:0102";
        QTest::newRow("enhancement, noarch update") << "quince" << "noarch" << "ORVO-EA-2026:0103" << false
                                                    << update + "\nEnhancement: ORVO-EA-2026:0103";
        QTest::newRow("no advisory") << "date" << "noarch" << "" << false << update;
        // Its advisory is for a package that is not installed.
        QTest::newRow("available") << "pear-data" << "noarch" << "" << false << "Package is available for installation";
    }

    void stateCell()
    {
        QFETCH(QString, name);
        QFETCH(QString, arch);
        QFETCH(bool, security);

        const int row = rowOf(name, arch);
        QVERIFY(row >= 0);
        const Package::Entry* entry = model_->entry(row);
        QStringList found;
        for (const Advisory::Record* advisory : engine_->advisories().fixes(entry))
            found << advisory->id;
        QTEST(found.join(','), "ids");
        QCOMPARE(engine_->advisories().fixesSecurity(entry), security);

        const QModelIndex cell = model_->index(row, Model::StateColumn);
        QTEST(cell.data(Qt::ToolTipRole).toString(), "tip");
        const char* icon = security ? "icons/out-of-date-security.png"
                                    : entry->state == Package::AvailableForUpdate ? "icons/out-of-date.png" : nullptr;
        if (icon)
            QCOMPARE(iconImage(cell.data(Qt::DecorationRole)),
                     QIcon(Share::absolute(QString::fromLatin1(icon))).pixmap(16, 16).toImage());
    }

    // "Security Updates Only" together with the other settings, and "Set Update of
    // Security Fixes" marking exactly the listed security fixes.
    void filterAndMark_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("expression");
        QTest::addColumn<bool>("dups");
        QTest::addColumn<bool>("securityOnly");
        QTest::addColumn<QString>("listed");
        QTest::addColumn<QString>("marked");

        QTest::newRow("updatable") << int(PackageTable::Updatable) << ".*" << true << true << "apricot,pear"
                                   << "apricot,pear";
        QTest::newRow("expression") << int(PackageTable::Updatable) << "^pe" << true << true << "pear" << "pear";
        // The i686 update is a duplicate of the x86_64 apricot.
        QTest::newRow("no duplicates") << int(PackageTable::All) << ".*" << false << true << "pear" << "pear";
        // Without the filter the other updates are listed, yet only security fixes are marked.
        QTest::newRow("every update listed") << int(PackageTable::Updatable) << ".*" << true << false
                                             << "apricot,date,kettle,pear,quince" << "apricot,pear";
    }

    void filterAndMark()
    {
        QFETCH(int, state);
        QFETCH(QString, expression);
        QFETCH(bool, dups);
        QFETCH(bool, securityOnly);

        PackageTable::SortFilterProxyModel proxy(PackageTable::Updatable, true, false, engine_, nullptr);
        proxy.setSourceModel(model_);
        proxy.setFilterRegExp(".*");
        // Turned on and off once first: the listing follows the last setting.
        proxy.setSecurityFilter(!securityOnly);
        proxy.setStateFilter(PackageTable::StateFilter(state));
        proxy.setDupsFilter(dups);
        proxy.setSecurityFilter(securityOnly);
        proxy.setFilterRegExp(expression);
        QTEST(names(proxy), "listed");

        proxy.setUpdateListed(true);
        QStringList marks;
        for (const Package::Entry* entry : engine_->catalogue())
            if (entry->action != Package::None)
                marks << entry->name;
        marks.sort();
        QTEST(marks.join(','), "marked");
        for (const Package::Entry* entry : engine_->catalogue())
            QVERIFY(entry->action == Package::None || entry->action == Package::Update);
    }

    void describe_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("texts");

        QTest::newRow("security")
            << "pear"
            << QStringList{"<b>ORVO-SA-2026:0101</b> (Security, severity Important, issued 2026-01-12)"
                           "<br>pear and apricot: crafted archives overwrite files"
                           "<br>Unpacking a crafted archive could overwrite files outside the target directory."
                           "<br>References: <a href=\"https://www.cve.org/CVERecord?id=CVE-2026-10001\">CVE-2026-10001</a>, "
                           "<a href=\"https://bugs.orvo.invalid/show_bug.cgi?id=4101\">4101</a>"};
        QTest::newRow("enhancement, no references")
            << "quince"
            << QStringList{"<b>ORVO-EA-2026:0103</b> (Enhancement, issued 2026-01-15)"
                           "<br>quince: architecture-independent build"
                           "<br>quince is now built for every architecture at once."};
        QTest::newRow("update without advisories") << "date" << QStringList();
    }

    void describe()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, texts);

        const Package::Entry* entry = model_->entry(rowOf(name, QString()));
        QVERIFY(entry);
        PackageTable::Describe::Dialog dialog(nullptr);
        dialog.config(engine_, *entry, conf_);
        // Configured twice, as the dialog is for each entry described: one area only.
        dialog.config(engine_, *entry, conf_);
        const auto* area = dialog.advisoriesArea();
        QCOMPARE(area != nullptr, !texts.isEmpty());
        QCOMPARE(dialog.findChildren<PackageTable::Describe::Instance::AdvisoriesArea*>().size(), texts.isEmpty() ? 0 : 1);
        if (area)
            QCOMPARE(area->texts(), texts);
    }

    // A reference opens in the share directory's web browser.
    void referenceLink()
    {
        QTemporaryDir share;
        const QString record = share.filePath("opened");
        QFile browser(share.filePath("webbrowser"));
        QVERIFY(browser.open(QIODevice::WriteOnly));
        browser.write(QString("#!/bin/sh\nprintf %s \"$1\" > %1.part && mv %1.part %1\n").arg(record).toLocal8Bit());
        browser.close();
        browser.setPermissions(browser.permissions() | QFileDevice::ExeOwner);

        PackageTable::Describe::Dialog dialog(nullptr);
        dialog.config(engine_, *model_->entry(rowOf("kettle", QString())), conf_);
        QLabel* label = dialog.advisoriesArea()->findChild<QLabel*>("ORVO-BA-2026:0102");
        QVERIFY(label);
        QVERIFY(label->textInteractionFlags() & Qt::LinksAccessibleByMouse);
        const QByteArray was = qgetenv("ORVOSHARE");
        qputenv("ORVOSHARE", share.path().toLocal8Bit());
        Q_EMIT label->linkActivated("https://bugs.orvo.invalid/show_bug.cgi?id=4102");
        qputenv("ORVOSHARE", was);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(record), 20000);
        QFile opened(record);
        QVERIFY(opened.open(QIODevice::ReadOnly));
        QCOMPARE(opened.readAll(), QByteArray("https://bugs.orvo.invalid/show_bug.cgi?id=4102"));
    }

private:
    // The first row of the name (and architecture, when given) that is not a duplicate
    // unless the architecture asks for it.
    int rowOf(const QString& name, const QString& arch) const
    {
        for (int row = 0; row < model_->rowCount(); ++row) {
            const Package::Entry* entry = model_->entry(row);
            if (entry->name == name && entry->kind != Package::Group
                && (arch.isEmpty() ? !entry->duplicate : entry->arch == arch))
                return row;
        }
        return -1;
    }

    static QString names(const PackageTable::SortFilterProxyModel& proxy)
    {
        QStringList list;
        for (int row = 0; row < proxy.rowCount(); ++row)
            list << proxy.index(row, Model::NameColumn).data().toString();
        list.sort();
        return list.join(',');
    }

    QTemporaryDir root_;
    YumIO* engine_ = nullptr;
    Model* model_ = nullptr;
    RecordingPresenter presenter_;
    QList<YumRepoEnabled> requests_;
    YumConfIO::UseTable used_;
    YumConfIO* conf_ = nullptr;
};

QTEST_MAIN(TestAdvisories)
#include "tst_advisories.moc"
