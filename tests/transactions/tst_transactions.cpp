// Transactions applied end to end on a copy of the sandbox system: the real companion
// script, dnf and rpm.  Every case runs in a process of its own on a fresh copy of the root
// (the program runs them so when started without arguments).

#define PY_SSIZE_T_CLEAN
#include "SandboxRoot.h"
#include <Python.h>

#include "AnsweringPresenter.h"
#include "EachCaseAlone.h"

#include "progress/ProgressObject.h"
#include "progress/ProgressUser.h"
#include "python/PyRef.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <csignal>

namespace {

// What the bars were told, in order: 'T' a new total with its tail, 'R' a reset, 'v' a
// position of the total bar.
QList<QPair<char, Steps>> barEvents;

QObject* recordingMaker(Progress::Object* object, HProgressBar*, HProgressBar*)
{
    auto* minion = new QObject;
    minion->moveToThread(QCoreApplication::instance()->thread());
    auto value = [](Steps v) { barEvents.append({ 'v', v }); };
    QObject::connect(object, &Progress::Object::startTotalSig, minion,
                     [](const QString&, Steps tail) { barEvents.append({ 'T', tail }); });
    QObject::connect(object, &Progress::Object::startItemSig, minion, [=](const QString&, Steps v, Steps) { value(v); });
    QObject::connect(object, &Progress::Object::changeItemActsSig, minion, value);
    QObject::connect(object, &Progress::Object::setItemValueSig, minion, [=](Steps v, Steps) { value(v); });
    QObject::connect(object, &Progress::Object::endItemActsSig, minion, value);
    QObject::connect(object, &Progress::Object::setTotalValueSig, minion, value);
    QObject::connect(object, &Progress::Object::resetSig, minion, [] { barEvents.append({ 'R', 0 }); });
    return minion;
}

// The script object's apply, wrapped so that the test sees the three lists it is given.
const char* recordApply = R"(
_orvoApply = YumIO.apply
def _recordingApply(self, installs, updates, removes):
    global handed
    handed = " ".join(sorted(["i:%s" % p for p in installs] + ["u:%s>%s" % (n, o) for n, o in updates]
                             + ["r:%s" % p for p in removes]))
    return _orvoApply(self, installs, updates, removes)
YumIO.apply = _recordingApply
handed = None
)";

QString conflictText(bool earlier, const QString& group, const QString& groupAction, const QString& current)
{
    return QString("Package pear is included in group %1 which was marked for %2,\n"
                   "so the package would be marked for Update,\n%3.\nHow do you wish to proceed?")
        .arg(group, groupAction,
             (earlier ? QString("but you resolved an earlier conflict by marking it for ")
                      : QString("but it was marked individually for "))
                 + current);
}

// What installing or updating a package adds to the acts reached.
qint64 installActs(const Package::Entry* e)
{
    return std::max<qint64>(10240, 3 * e->size);
}

bool casesRan = false;

} // namespace

class TestTransactions final : public QObject
{
    Q_OBJECT

    QTemporaryDir root_;
    YumIO* engine_ = nullptr;
    AnsweringPresenter presenter_;
    QStringList before_;

    Package::Entry* entry(const QString& name, bool group = false)
    {
        for (Package::Entry* e : engine_->catalogue())
            if (e->name == name && (e->kind == Package::Group) == group)
                return e;
        return nullptr;
    }

    // Marks as "name:Action", "@group:Action" for a group.
    void mark(const QStringList& marks)
    {
        for (const QString& m : marks) {
            const bool group = m.startsWith('@');
            Package::Entry* e = entry(m.section(':', 0, 0).mid(group ? 1 : 0), group);
            QVERIFY2(e, qPrintable(m));
            const QString action = m.section(':', 1);
            e->action = action == "Update" ? Package::Update : action == "Install" ? Package::Install : Package::Remove;
        }
    }

    QStringList rpmInstalled()
    {
        QProcess rpm;
        rpm.start("rpm", { "--root", root_.path(), "--dbpath", "/var/lib/rpm", "-qa" });
        rpm.waitForFinished(-1);
        QStringList names = QString::fromUtf8(rpm.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        names.sort();
        return names;
    }

    QString handed()
    {
        YumIO::PyGILStateWrapper lock(true);
        PyRef value = PyRef::steal(engine_->pyr("handed"));
        return value.get() == Py_None ? QString("(nothing)") : engine_->pyStringX(value.get());
    }

    QStringList logged(Log::Kind kind, int level = -1)
    {
        QStringList texts;
        Log::EntryList& list = engine_->logList();
        list.lock();
        for (const Log::Entry& e : list)
            if (e.kind == kind && (level < 0 || int(e.level) == level))
                texts.append(e.text);
        list.unlock();
        return texts;
    }

    QStringList errorDialogs()
    {
        QStringList texts;
        for (const auto& d : presenter_.dialogs)
            if (d.caption.startsWith("Orvo Yum"))
                texts.append(d.text);
        return texts;
    }

    // Calls one of the engine's rpm callbacks with the arguments Py_BuildValue makes; true
    // when it returned None.
    template <typename... Args>
    bool call(PyObject* (YumIO::*callback)(PyObject*, PyObject*), const char* format, Args... args)
    {
        PyRef built = PyRef::steal(Py_BuildValue(format, args...));
        PyRef result = PyRef::steal((engine_->*callback)(nullptr, built.get()));
        return result.get() == Py_None;
    }

    void checkMonotonic()
    {
        QVERIFY(!barEvents.isEmpty());
        Steps tail = 0;
        Steps last = 0;
        bool known = false;
        for (const auto& event : qAsConst(barEvents)) {
            if (event.first == 'T' || event.first == 'R') {
                known = event.first == 'T';
                tail = event.second;
                last = 0;
                continue;
            }
            QVERIFY2(event.second >= last, qPrintable(QString("%1 after %2").arg(event.second).arg(last)));
            QVERIFY2(!known || event.second <= tail, qPrintable(QString("%1 beyond %2").arg(event.second).arg(tail)));
            last = event.second;
        }
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(root_.isValid());
        QString why;
        QVERIFY2(useSandboxCopy(root_.path(), why), qPrintable(why));
        std::signal(SIGINT, SIG_DFL);
        YumIODialogsPresenter::install(&presenter_);
        Progress::Object::setMinionMaker(&recordingMaker);
        engine_ = new YumIO;
        engine_->setup(nullptr, nullptr, nullptr);
        QVERIFY(engine_->initialize());
        {
            YumIO::PyGILStateWrapper lock(true);
            engine_->py(recordApply);
        }
        QVERIFY(engine_->collect({}));
        QVERIFY2(presenter_.dialogs.isEmpty(), qPrintable(presenter_.dialogs.value(0).text));
        before_ = rpmInstalled();
        QVERIFY(before_.contains("pear-1.0-1.x86_64"));
        presenter_.dialogs.clear();
        barEvents.clear();
    }

    void cleanupTestCase()
    {
        if (engine_)
            engine_->clearEntriesBeforeQuit();
        delete engine_;
        Progress::Object::setMinionMaker(nullptr);
        YumIODialogsPresenter::install(nullptr);
    }

    void init()
    {
        if (casesRan)
            QSKIP("each case needs a fresh system: run it in a process of its own");
        casesRan = true;
    }

    void applied_data()
    {
        QTest::addColumn<QStringList>("marks");
        QTest::addColumn<QString>("handed"); // empty: nothing to apply
        QTest::addColumn<int>("packages");
        QTest::addColumn<QStringList>("added");
        QTest::addColumn<QStringList>("removed");
        // The confirmation text, %1 the download size of the packages added; empty: not compared.
        QTest::addColumn<QString>("listing");
        QTest::addColumn<QString>("output");

        const QString todo = "Transaction to be performed:\n";
        const QString resolve = "Performing the following to resolve dependencies:\n";
        const QString size = "Total download size: %1\n";
        QTest::newRow("install with dependency")
            << QStringList { "melon:Install" } << "i:melon-1.0-1.x86_64" << 1
            << QStringList { "melon-1.0-1.x86_64", "melon-libs-1.0-1.x86_64" } << QStringList()
            << todo + "\tInstall: melon 1.0-1 (x86_64) [orvo-base]\n" + resolve
                   + "\tInstall: melon-libs 1.0-1 (x86_64) [orvo-base]\n" + size
            << QString();
        QTest::newRow("update with dependency")
            << QStringList { "pear:Update" } << "u:pear-1.1-1.x86_64>pear-1.0-1.x86_64" << 2
            << QStringList { "pear-1.1-1.x86_64", "pear-data-1.1-1.noarch" } << QStringList { "pear-1.0-1.x86_64" }
            << todo + "\tUpdate: pear 1.1-1 (x86_64) [orvo-updates]\n" + resolve
                   + "\tInstall: pear-data 1.1-1 (noarch) [orvo-updates]\n" + size
            << QString();
        QTest::newRow("update across architectures")
            << QStringList { "quince:Update" } << "u:quince-1.1-1.noarch>quince-1.0-1.x86_64" << 2
            << QStringList { "quince-1.1-1.noarch" } << QStringList { "quince-1.0-1.x86_64" }
            << todo + "\tUpdate: quince 1.1-1 (noarch) [orvo-updates]\n" + size << QString();
        QTest::newRow("update of two installed versions")
            << QStringList { "kettle:Update" }
            << "u:kettle-3.0-1.x86_64>kettle-1.0-1.x86_64 u:kettle-3.0-1.x86_64>kettle-2.0-1.x86_64" << 3
            << QStringList { "kettle-3.0-1.x86_64" } << QStringList()
            << todo + "\tUpdate: kettle 3.0-1 (x86_64) [orvo-updates]\n" + size << QString();
        QTest::newRow("remove") << QStringList { "lime:Remove" } << "r:lime-1.0-1.noarch" << 1 << QStringList()
                                << QStringList { "lime-1.0-1.noarch" } << todo + "\tRemove: lime 1.0-1 (noarch)\n" + size
                                << QString();
        QTest::newRow("remove of an out-of-date entry")
            << QStringList { "kettle:Remove" } << "r:kettle-1.0-1.x86_64 r:kettle-2.0-1.x86_64" << 2 << QStringList()
            << QStringList { "kettle-1.0-1.x86_64", "kettle-2.0-1.x86_64" } << QString() << QString();
        QTest::newRow("obsoleting install")
            << QStringList { "cherry-ng:Install" } << "i:cherry-ng-2.0-1.noarch" << 1
            << QStringList { "cherry-ng-2.0-1.noarch" } << QStringList { "cherry-1.0-1.noarch" }
            << todo + "\tInstall: cherry-ng 2.0-1 (noarch) [orvo-updates]\nOther Transactions:\n"
                      "\tObsoleting: cherry 1.0-1 (noarch) with cherry-ng 2.0-1 (noarch)\n" + size
            << QString();
        QTest::newRow("scriptlet output") << QStringList { "salt:Install" } << "i:salt-1.0-1.noarch" << 1
                                          << QStringList { "salt-1.0-1.noarch" } << QStringList() << QString()
                                          << "salt: the shaker is filled";
        QTest::newRow("nothing marked") << QStringList() << "" << 0 << QStringList() << QStringList() << QString()
                                        << QString();
    }

    void applied()
    {
        QFETCH(QStringList, marks);
        QFETCH(QString, handed);
        QFETCH(int, packages);
        QFETCH(QStringList, added);
        QFETCH(QStringList, removed);
        QFETCH(QString, listing);
        QFETCH(QString, output);

        mark(marks);
        qint64 size = 0;
        for (const QString& nevra : added) {
            QString e, n, v, r, a;
            QVERIFY(YumIO::parseEnvra(nevra, e, n, v, r, a) && entry(n));
            size += entry(n)->size;
        }
        const bool result = !handed.isEmpty();
        QCOMPARE(engine_->apply(), result);
        QCOMPARE(this->handed(), handed);
        QCOMPARE(int(engine_->packageCount()), packages);
        QCOMPARE(errorDialogs(), QStringList());
        QStringList expected = before_;
        for (const QString& name : removed)
            expected.removeAll(name);
        expected += added;
        expected.sort();
        QCOMPARE(rpmInstalled(), expected);

        const auto confirmations = presenter_.of("confirm");
        QCOMPARE(confirmations.size(), result ? 1 : 0);
        if (result) {
            QCOMPARE(confirmations[0].caption, QString("Apply"));
            QCOMPARE(confirmations[0].buttons, QStringList({ "OK", "Cancel" }));
            if (!listing.isEmpty())
                QCOMPARE(confirmations[0].text, listing.arg(YumIO::bytesFormat((unsigned long long)size)));
            QVERIFY(logged(Log::Heading).contains("Applying: OK"));
        }
        if (!output.isEmpty())
            QVERIFY2(logged(Log::Output).contains(output), qPrintable(logged(Log::Output).join('\n')));
        checkMonotonic();
    }

    void refusedConfirmation()
    {
        mark({ "melon:Install", "lime:Remove" });
        presenter_.confirmAnswer = 0;
        QVERIFY(!engine_->apply());
        QCOMPARE(presenter_.of("confirm").size(), 1);
        QVERIFY(logged(Log::Heading).contains("Not Applying: Canceled"));
        QVERIFY(!logged(Log::Heading).contains("Applying: OK"));
        QCOMPARE(rpmInstalled(), before_);
        QCOMPARE(errorDialogs(), QStringList());
    }

    // yum asks about something that is no transaction (a key to import): what it said since
    // the last listing is the question.
    void unlistedQuestion_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<QString>("heading");
        QTest::newRow("yes") << 1 << "Confirmation: Yes";
        QTest::newRow("no") << 0 << "Confirmation: No";
    }

    void unlistedQuestion()
    {
        QFETCH(int, answer);
        QFETCH(QString, heading);

        presenter_.confirmAnswer = answer;
        YumIO::PyGILStateWrapper lock(true);
        PyRef line = PyRef::steal(Py_BuildValue("(ls)", 2L, "Importing GPG key 0x0B86274E"));
        PyRef logged = PyRef::steal(engine_->log(nullptr, line.get()));
        PyRef result = PyRef::steal(engine_->userconfirm(nullptr, nullptr));
        QVERIFY(result && PyLong_Check(result.get()));
        QCOMPARE(int(PyLong_AsLong(result.get())), answer);
        const auto asked = presenter_.of("confirm");
        QCOMPARE(asked.size(), 1);
        QCOMPARE(asked[0].caption, QString("Query"));
        QCOMPARE(asked[0].buttons, QStringList({ "Yes", "No" }));
        QVERIFY(asked[0].text.endsWith("Importing GPG key 0x0B86274E\n"));
        QCOMPARE(this->logged(Log::Heading).value(1), heading);
        QVERIFY(engine_->transactionText().isEmpty());
    }

    void groupExpansion_data()
    {
        QTest::addColumn<QStringList>("marks");
        QTest::addColumn<QStringList>("notes");
        QTest::addColumn<QString>("handed");

        const QString pearAndQuince = "u:pear-1.1-1.x86_64>pear-1.0-1.x86_64 u:quince-1.1-1.noarch>quince-1.0-1.x86_64";
        // fig is optional: distribution groups do not even list it for an update.
        QTest::newRow("update leaves the optional member")
            << QStringList { "@Orchard:Update" }
            << QStringList { "For group Orchard, marking package pear for Update",
                             "For group Orchard, marking package quince for Update" }
            << pearAndQuince;
        QTest::newRow("install marks the members to install")
            << QStringList { "@Kitchen:Install" }
            << QStringList { "For group Kitchen, marking package melon for Install",
                             "For group Kitchen, marking package lemon for Install" }
            << "i:lemon-1.0-1.noarch i:melon-1.0-1.x86_64";
        QTest::newRow("member marked before")
            << QStringList { "pear:Update", "@Orchard:Install" }
            << QStringList { "For group Orchard, package pear already was marked for Update",
                             "For group Orchard, marking package quince for Update" }
            << pearAndQuince;
        QTest::newRow("remove marks a removed member again")
            << QStringList { "tomato:Remove", "@Garden:Remove" }
            << QStringList { "For group Garden, marking package tomato for Remove",
                             "For group Garden, marking package lime for Remove" }
            << "r:lime-1.0-1.noarch r:tomato-1.0-1.noarch";
    }

    void groupExpansion()
    {
        QFETCH(QStringList, marks);
        QFETCH(QStringList, notes);
        QFETCH(QString, handed);

        mark(marks);
        presenter_.confirmAnswer = 0;
        QVERIFY(!engine_->apply());
        QStringList noted = logged(Log::Info, 4);
        noted.sort();
        notes.sort();
        QCOMPARE(noted, notes);
        QCOMPARE(this->handed(), handed);
        QCOMPARE(presenter_.of("critical", "Apply").size(), 0);
        QCOMPARE(entry("fig")->workAction, Package::None);
    }

    void groupConflicts_data()
    {
        QTest::addColumn<QString>("pear");
        QTest::addColumn<QString>("orchard");
        QTest::addColumn<QString>("pie");
        QTest::addColumn<QList<int>>("answers");
        QTest::addColumn<QString>("handed");

        QTest::newRow("cancelled") << QString() << "Update" << "Remove" << QList<int> { 2 } << "(nothing)";
        QTest::newRow("earlier conflict") << "Remove" << "Update" << "Install" << QList<int> { 1, 2 } << "(nothing)";
        QTest::newRow("group's action taken")
            << QString() << "Update" << "Remove" << QList<int> { 0 }
            << "u:pear-1.1-1.x86_64>pear-1.0-1.x86_64 u:quince-1.1-1.noarch>quince-1.0-1.x86_64";
    }

    void groupConflicts()
    {
        QFETCH(QString, pear);
        QFETCH(QString, orchard);
        QFETCH(QString, pie);
        QFETCH(QList<int>, answers);
        QFETCH(QString, handed);

        mark({ "@Orchard:" + orchard, "@Pie:" + pie });
        if (!pear.isEmpty())
            mark({ "pear:" + pear });
        // Groups expand in the catalogue's order.
        QStringList groups { "Orchard", "Pie" };
        QStringList actions { orchard, pie };
        const auto& rows = engine_->catalogue();
        if (rows.indexOf(entry("Pie", true)) < rows.indexOf(entry("Orchard", true))) {
            groups.swapItemsAt(0, 1);
            actions.swapItemsAt(0, 1);
        }
        // pear is out of date: a group would always update it.
        const QStringList expected = pear.isEmpty()
            ? QStringList { conflictText(false, groups[1], actions[1], actions[0]) }
            : QStringList { conflictText(false, groups[0], actions[0], pear),
                            conflictText(true, groups[1], actions[1], pear) };

        presenter_.questionAnswers = answers;
        presenter_.confirmAnswer = 0;
        QVERIFY(!engine_->apply());
        QStringList texts;
        for (const auto& c : presenter_.of("critical", "Apply")) {
            texts << c.text;
            QCOMPARE(c.buttons.value(0) + "|" + c.buttons.value(2), QString("Update|Cancel"));
            QCOMPARE(c.defaultButton, 2);
            QCOMPARE(c.escapeButton, 2);
        }
        QCOMPARE(texts, expected);
        QCOMPARE(this->handed(), handed);
        // A cancelled conflict hands nothing to yum, so nothing is confirmed.
        QCOMPARE(presenter_.of("confirm").size(), answers.last() == 2 ? 0 : 1);
        if (answers.first() != 2) {
            const QString kept = answers.first() == 0 ? "Update" : pear.isEmpty() ? actions[0] : pear;
            QVERIFY(logged(Log::Info, 4).contains("Manually resolving conflict: marking package pear for " + kept));
        }
        QCOMPARE(rpmInstalled(), before_);
    }

    void solverLines_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("uncached");
        QTest::addColumn<int>("acts");
        QTest::addColumn<int>("downloads");
        QTest::addColumn<QString>("error");

        const QString tsinfo = "Internal error: TSINFO mentions ";
        QTest::newRow("marking an install") << "Marking melon-libs-1.0-1.x86_64 as install" << "" << 1 << 0 << "";
        QTest::newRow("marking an update")
            << "Marking pear-1.1-1.x86_64 as update for pear-1.0-1.x86_64" << "" << 2 << 0 << "";
        QTest::newRow("updating") << "Updating kettle-3.0-1.x86_64 to resolve dep." << "" << 2 << 0 << "";
        QTest::newRow("obsoleting") << "Obsoleting quince-1.1-1.noarch with cherry-ng-2.0-1.noarch" << "" << 2 << 0 << "";
        QTest::newRow("header not cached") << "Marking grape-1.0-1.x86_64 as install" << "grape" << 1 << 1 << "";
        QTest::newRow("obsoleting without with")
            << "Obsoleting cherry-1.0-1.noarch" << "" << 0 << 0
            << "Internal error: unexpected TSINFO: Obsoleting cherry-1.0-1.noarch";
        QTest::newRow("erase") << "lime-1.0-1.noarch marked as erase" << "" << 0 << 0 << "";
        QTest::newRow("installed package")
            << "Marking lime-1.0-1.noarch as install" << "" << 0 << 0
            << tsinfo + "intent to install or upgrade package that already seems up-to-date: lime";
        QTest::newRow("unknown package") << "Marking nosuch-1.0-1.x86_64 as install" << "" << 0 << 0
                                         << tsinfo + "unknown package: nosuch-1.0-1.x86_64";
        QTest::newRow("bare name")
            << "Marking melon as install" << "" << 1 << 0
            << tsinfo + "package melon which does not appear to be a valid envra; interpreting as package name";
    }

    void solverLines()
    {
        QFETCH(QString, line);
        QFETCH(QString, uncached);
        QFETCH(int, acts);
        QFETCH(int, downloads);
        QFETCH(QString, error);

        YumIO::PyGILStateWrapper lock(true);
        if (!uncached.isEmpty())
            engine_->py(qPrintable(QString("_orvoHdr = _AvailablePackage.localHdr\n"
                                           "_AvailablePackage.localHdr = lambda self: "
                                           "'/nonexistent/header' if self.name == '%1' else _orvoHdr(self)\n")
                                       .arg(uncached)));
        Progress::User progress(engine_->progressSlot(), nullptr, nullptr);
        const quint32 actsBefore = engine_->dsActs();
        const quint32 downloadsBefore = engine_->dsDownloads();
        engine_->dsTsInfo(line);
        QCOMPARE(int(engine_->dsActs() - actsBefore), acts);
        QCOMPARE(int(engine_->dsDownloads() - downloadsBefore), downloads);
        QCOMPARE(errorDialogs(), error.isEmpty() ? QStringList() : QStringList { error });
    }

    void callbacks_data()
    {
        QTest::addColumn<long>("what"); // 0: an event, not a callback
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("arch"); // empty: the key is the bare name
        QTest::addColumn<long>("event");
        QTest::addColumn<int>("workAction");
        QTest::addColumn<QString>("started"); // what the log says; empty: nothing starts
        QTest::addColumn<QString>("warning");

        const QString callback = "Internal error: YumIO::tsCallback ";
        const int install = Package::Install;
        const int update = Package::Update;
        const int none = Package::None;
        QTest::newRow("install") << 3L << "melon" << "x86_64" << 0L << install << "Installing melon" << "";
        QTest::newRow("update") << 3L << "pear" << "x86_64" << 0L << update << "Updating pear" << "";
        QTest::newRow("noarch update of x86_64") << 3L << "quince" << "noarch" << 0L << update << "Updating quince" << "";
        QTest::newRow("install of an unknown package")
            << 3L << "nosuch" << "x86_64" << 0L << install << ""
            << "Internal error: Unable to find package for install/update of nosuch.x86_64";
        QTest::newRow("removal of an unknown package")
            << 256L << "nosuch" << "" << 0L << none << "" << callback + "UNINST of nosuch not expected";
        QTest::newRow("removal not marked")
            << 256L << "tomato" << "" << 0L << none << "" << callback + "UNINST of tomato not expected";
        QTest::newRow("bits not understood")
            << 1024L << "tomato" << "" << 0L << none << "" << callback + "what=1024 not understood; ignoring";
        QTest::newRow("file opened") << 4L << "tomato" << "" << 0L << none << "" << "";
        QTest::newRow("event not understood")
            << 0L << "tomato" << "" << 99L << none << "" << "Internal error: YumIO::tsEvent action=99 not understood; ignoring";
        QTest::newRow("erase event of an unknown package")
            << 0L << "nosuch" << "" << 40L << none << "" << callback + "REMOVE/COMPLETE of nosuch not expected";
    }

    void callbacks()
    {
        QFETCH(long, what);
        QFETCH(QString, name);
        QFETCH(QString, arch);
        QFETCH(long, event);
        QFETCH(int, workAction);
        QFETCH(QString, started);
        QFETCH(QString, warning);

        Package::Entry* target = entry(name);
        if (target)
            target->workAction = Package::Action(workAction);
        YumIO::PyGILStateWrapper lock(true);
        Progress::User progress(engine_->progressSlot(), nullptr, nullptr);
        if (!what)
            QVERIFY(call(&YumIO::tsEvent, "(slLLll)", qPrintable(name), event, 0LL, 10LL, 1L, 1L));
        else if (arch.isEmpty())
            QVERIFY(call(&YumIO::tsCallback, "(lLLsO)", what, 0LL, 10LL, qPrintable(name), Py_None));
        else
            QVERIFY(call(&YumIO::tsCallback, "(lLL({s:s,s:s})O)", what, 40LL, 100LL, "name", qPrintable(name), "arch",
                         qPrintable(arch), Py_None));
        const QStringList warnings = warning.isEmpty() ? QStringList() : QStringList { warning };
        QCOMPARE(errorDialogs(), warnings);
        QCOMPARE(logged(Log::Info, 1), started.isEmpty() ? QStringList() : QStringList { started });
        if (what != 3) {
            QCOMPARE(presenter_.of("warning").size(), warnings.size());
            return;
        }
        if (started.isEmpty()) {
            QCOMPARE(engine_->applyActsReached(), qint64(0));
            return;
        }
        // Both bits of what = 3: the step starts, then the item moves.
        QCOMPARE(engine_->progressSlot()->itemValue(), Steps(40));
        QVERIFY(target->started);
        QCOMPARE(engine_->applyActsReached(), installActs(target));
    }

    void removalsInTurn()
    {
        // kettle's row is its update; the two installed versions hang in its chain.
        Package::Entry* kettle = entry("kettle");
        QVERIFY(kettle && kettle->state == Package::AvailableForUpdate && kettle->next && kettle->next->next);
        Package::Entry* first = kettle->next;
        Package::Entry* second = first->next;
        kettle->workAction = Package::Remove;

        YumIO::PyGILStateWrapper lock(true);
        Progress::User progress(engine_->progressSlot(), nullptr, nullptr);
        const auto started = [&] { return QList<bool>({ kettle->started, first->started, second->started }); };
        QVERIFY(call(&YumIO::tsCallback, "(lLLsO)", 256L, 0LL, 10LL, "kettle", Py_None));
        QCOMPARE(started(), QList<bool>({ false, true, false }));
        QCOMPARE(engine_->applyActsReached(), std::max<qint64>(first->size, 10240));
        QVERIFY(call(&YumIO::tsCallback, "(lLLsO)", 256L, 0LL, 10LL, "kettle", Py_None));
        QCOMPARE(started(), QList<bool>({ false, true, true }));
        QCOMPARE(errorDialogs(), QStringList());
        QVERIFY(call(&YumIO::tsCallback, "(lLLsO)", 256L, 0LL, 10LL, "kettle", Py_None));
        QVERIFY(kettle->started);
        QCOMPARE(errorDialogs(), QStringList { "Internal error: YumIO::tsCallback UNINST of kettle too many times" });
    }

    void eventsOfOneIndex()
    {
        Package::Entry* melon = entry("melon");
        Package::Entry* libs = entry("melon-libs");
        melon->workAction = libs->workAction = Package::Install;

        YumIO::PyGILStateWrapper lock(true);
        Progress::User progress(engine_->progressSlot(), nullptr, nullptr);
        auto event = [&](Package::Entry* e, long long done, long index) {
            QVERIFY(call(&YumIO::tsEvent, "(OlLLll)", e->yumObject.get(), 20L, done, 100LL, index, 2L));
            QCOMPARE(engine_->progressSlot()->itemValue(), Steps(done));
        };
        event(melon, 0, 1);
        event(melon, 50, 1);
        event(melon, 100, 1);
        QCOMPARE(logged(Log::Info, 1), QStringList { "Installing melon" });
        QCOMPARE(engine_->applyActsReached(), installActs(melon));
        event(libs, 30, 2);
        QCOMPARE(logged(Log::Info, 1), QStringList({ "Installing melon", "Installing melon-libs" }));
        QCOMPARE(engine_->applyActsReached(), installActs(melon) + installActs(libs));
        QVERIFY(melon->started && libs->started);
        QCOMPARE(errorDialogs(), QStringList());
    }

    void failingTransaction_data()
    {
        QTest::addColumn<QStringList>("marks");
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("failure");

        QTest::newRow("failing scriptlet") << QStringList { "bramble:Install" } << "bramble: thorns in the way"
                                           << "Transaction failed: bramble-1.0-1.noarch";
        QTest::newRow("file conflict") << QStringList { "salt:Install", "pepper:Install" } << QString()
                                       << "file /usr/share/condiments/shaker conflicts between attempted installs";
    }

    void failingTransaction()
    {
        QFETCH(QStringList, marks);
        QFETCH(QString, output);
        QFETCH(QString, failure);

        mark(marks);
        QVERIFY(!engine_->apply());
        const auto errors = presenter_.of("scrollable", "Orvo Yum Error");
        QCOMPARE(errors.size(), 1);
        QVERIFY2(errors[0].text.contains(failure) && errors[0].text.endsWith("Unable to apply changes"),
                 qPrintable(errors[0].text));
        QVERIFY(logged(Log::Error).contains("Unable to apply changes"));
        if (!output.isEmpty())
            QVERIFY2(logged(Log::Output).contains(output), qPrintable(logged(Log::Output).join('\n')));
        QCOMPARE(rpmInstalled(), before_);
        checkMonotonic();

        // The program goes on: the catalogue is collected again and is what rpm says.
        presenter_.dialogs.clear();
        QVERIFY(engine_->clear());
        QVERIFY(engine_->collect({}));
        QCOMPARE(errorDialogs(), QStringList());
        QStringList installed;
        for (const Package::Entry* row : engine_->catalogue())
            for (const Package::Entry* e = row; e && row->kind != Package::Group; e = e->next)
                if (e->state == Package::Installed)
                    installed << e->name + "-" + e->verRel + "." + e->arch;
        installed.sort();
        QCOMPARE(installed, before_);
    }
};

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 1)
        return runEachCaseAlone(QCoreApplication::applicationFilePath());
    TestTransactions test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_transactions.moc"
