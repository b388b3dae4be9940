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
#include "yumio/YumIOVersions.h"

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

    // Marks as "name:Action", "@group:Action" for a group; "name:Downgrade=version".
    void mark(const QStringList& marks)
    {
        for (const QString& m : marks) {
            const bool group = m.startsWith('@');
            Package::Entry* e = entry(m.section(':', 0, 0).mid(group ? 1 : 0), group);
            QVERIFY2(e, qPrintable(m));
            const QString action = m.section(':', 1).section('=', 0, 0);
            e->targetVerRel = m.section('=', 1);
            e->action = action == "Update"      ? Package::Update
                : action == "Install"           ? Package::Install
                : action == "Downgrade"         ? Package::Downgrade
                : action == "Reinstall"         ? Package::Reinstall
                                                : Package::Remove;
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

    // What rpm should list once the packages added came and those removed went.
    QStringList installedAfter(const QStringList& added, const QStringList& removed) const
    {
        QStringList expected = before_;
        for (const QString& name : removed)
            expected.removeAll(name);
        expected += added;
        expected.sort();
        return expected;
    }

    QString handed()
    {
        YumIO::PyGILStateWrapper lock(true);
        PyRef value = engine_->pyr("handed");
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
        for (const auto& event : qAsConst(barEvents)) {
            if (event.first != 'v') {
                tail = event.second; // a reset leaves no tail
                last = 0;
                continue;
            }
            const bool within = event.second >= last && (tail == 0 || event.second <= tail);
            QVERIFY2(within, qPrintable(QString("%1 after %2 in %3").arg(event.second).arg(last).arg(tail)));
            last = event.second;
        }
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(root_.isValid());
        QString why;
        QVERIFY2(useSandboxCopy(root_.path(), why), qPrintable(why));
        // As on real systems, the package manager refuses to remove some packages.
        QFile conf(root_.filePath("etc/yum.conf"));
        QVERIFY(conf.open(QIODevice::Append));
        conf.write("protected_packages=plum\n");
        conf.close();
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
        QTest::addColumn<QString>("handed");
        QTest::addColumn<QStringList>("added");
        QTest::addColumn<QStringList>("removed");
        // How the confirmation starts; empty: not compared.
        QTest::addColumn<QString>("listing");

        const QString todo = "Transaction to be performed:\n";
        QTest::newRow("install with dependency")
            << QStringList { "melon:Install" } << "i:melon-1.0-1.x86_64"
            << QStringList { "melon-1.0-1.x86_64", "melon-libs-1.0-1.x86_64" } << QStringList()
            << todo + "\tInstall: melon 1.0-1 (x86_64) [orvo-base]\nPerforming the following to resolve dependencies:\n"
                   + "\tInstall: melon-libs 1.0-1 (x86_64) [orvo-base]\n";
        QTest::newRow("update of two installed versions")
            << QStringList { "kettle:Update" }
            << "u:kettle-3.0-1.x86_64>kettle-1.0-1.x86_64 u:kettle-3.0-1.x86_64>kettle-2.0-1.x86_64"
            << QStringList { "kettle-3.0-1.x86_64" } << QStringList() << QString();
        QTest::newRow("obsoleting install")
            << QStringList { "cherry-ng:Install" } << "i:cherry-ng-2.0-1.noarch"
            << QStringList { "cherry-ng-2.0-1.noarch" } << QStringList { "cherry-1.0-1.noarch" }
            << todo + "\tInstall: cherry-ng 2.0-1 (noarch) [orvo-updates]\nOther Transactions:\n"
                      "\tObsoleting: cherry 1.0-1 (noarch) with cherry-ng 2.0-1 (noarch)\n";
        QTest::newRow("removal takes what requires it")
            << QStringList { "honey-comb:Remove" } << "r:honey-comb-1.0-1.noarch" << QStringList()
            << QStringList { "honey-1.0-1.noarch", "honey-comb-1.0-1.noarch" }
            << todo + "\tRemove: honey-comb 1.0-1 (noarch)\nPerforming the following to resolve dependencies:\n"
                   + "\tRemove: honey 1.0-1 (noarch)\n";
        QTest::newRow("update that obsoletes another name")
            << QStringList { "date:Update" } << "u:date-2.0-1.noarch>date-1.0-1.noarch"
            << QStringList { "date-2.0-1.noarch" } << QStringList { "date-1.0-1.noarch", "date-palm-1.0-1.noarch" }
            << todo + "\tUpdate: date 2.0-1 (noarch) [orvo-updates]\nOther Transactions:\n"
                      "\tObsoleting: date-palm 1.0-1 (noarch) with date 2.0-1 (noarch)\n";
    }

    void applied()
    {
        QFETCH(QStringList, marks);
        QFETCH(QStringList, added);
        QFETCH(QStringList, removed);
        QFETCH(QString, listing);

        mark(marks);
        QVERIFY(engine_->apply());
        QTEST(handed(), "handed");
        QCOMPARE(errorDialogs(), QStringList());
        QCOMPARE(rpmInstalled(), installedAfter(added, removed));

        const auto confirmations = presenter_.of("confirm");
        QCOMPARE(confirmations.size(), 1);
        if (!listing.isEmpty())
            QVERIFY2(confirmations[0].text.startsWith(listing), qPrintable(confirmations[0].text));
        QVERIFY(logged(Log::Heading).contains("Applying: OK"));
        // rpm's own output comes without tracebacks, and every erasure has its line.
        QCOMPARE(logged(Log::Error), QStringList());
        const QStringList steps = logged(Log::Info, 1);
        for (const QString& gone : removed) {
            const QString name = gone.section('-', 0, -3);
            QVERIFY2(steps.contains("Removing " + name) || steps.contains("Completing update for: " + name),
                     qPrintable(steps.join('\n')));
        }
        checkMonotonic();
    }

    // Downgrades and reinstalls come from the action menu with their version; each has
    // its line in the listing, the installed versions change, and the package manager's
    // history records the transaction as Orvo's.  Each alone is applied by the undo cases
    // and the window's history test.
    void otherVersions()
    {
        const QStringList lines { "\tInstall: grape 2:3.0-1 (x86_64) [orvo-base]",
                                  "\tDowngrade: olive 1.0-1 (noarch) [orvo-base]",
                                  "\tReinstall: lime 1.0-1 (noarch) [orvo-base]" };
        YumIOVersions versions(engine_);
        QCOMPARE(versions.olderVersions(entry("olive")), QStringList { "1.0-1" });
        QVERIFY(versions.reinstallable(entry("lime")) && !versions.reinstallable(entry("grape")));
        mark({ "olive:Downgrade=1.0-1", "lime:Reinstall", "grape:Install" });
        QVERIFY(engine_->apply());
        QVERIFY2(errorDialogs().isEmpty(), qPrintable(errorDialogs().join("\n--\n")));
        QCOMPARE(logged(Log::Error), QStringList());
        const auto confirmations = presenter_.of("confirm");
        QCOMPARE(confirmations.size(), 1);
        // Requested by the user: listed among the transaction's own lines.
        const QString listing = confirmations[0].text.section("Performing the following", 0, 0);
        for (const QString& line : lines)
            QVERIFY2(listing.contains(line + "\n"), qPrintable(listing));
        QCOMPARE(rpmInstalled(), installedAfter({ "olive-1.0-1.noarch", "grape-3.0-1.x86_64" }, { "olive-2.0-1.noarch" }));
        checkMonotonic();
        // What was done is logged as such.
        const QStringList done = logged(Log::Info, 2);
        for (const QString& line : lines)
            if (!line.contains("Install: "))
                QVERIFY2(done.contains(line.mid(1).section(" [", 0, 0).replace("Downgrade:", "Downgraded:").replace("Reinstall:", "Reinstalled:")),
                         qPrintable(done.join('\n')));
        const QVector<YumIOVersions::Transaction> history = versions.transactions();
        QVERIFY(history.size() == 5);
        QCOMPARE(history[0].id, 5);
        QCOMPARE(history[0].commandLine, QString("Orvo"));
        QStringList recorded;
        for (const YumIOVersions::Item& item : versions.items(5))
            recorded << item.what + " " + item.name;
        recorded.sort();
        QCOMPARE(recorded, (QStringList { "Downgrade olive", "Downgraded olive", "Install grape", "Reinstall lime",
                                          "Reinstalled lime" }));
    }

    // Undo marks the inverse without changing anything; refused at the confirmation, the
    // system stays; applied again, the transaction is undone.
    void undo_data()
    {
        QTest::addColumn<QStringList>("first"); // applied with Orvo before undoing the newest
        QTest::addColumn<int>("id");
        QTest::addColumn<QStringList>("marks");
        QTest::addColumn<QStringList>("added");
        QTest::addColumn<QStringList>("removed");
        QTest::newRow("an update goes back") << QStringList() << 4 << QStringList { "olive:Downgrade:1.0-1" }
                                             << QStringList { "olive-1.0-1.noarch" } << QStringList { "olive-2.0-1.noarch" };
        QTest::newRow("a removal is installed again") << QStringList() << 3 << QStringList { "sage:Install:" }
                                                      << QStringList { "sage-1.0-1.noarch" } << QStringList();
        QTest::newRow("what Orvo installed is removed")
            << QStringList { "melon:Install" } << 0 << QStringList { "melon:Remove:", "melon-libs:Remove:" }
            << QStringList() << QStringList { "melon-1.0-1.x86_64", "melon-libs-1.0-1.x86_64" };
        QTest::newRow("a downgrade is updated again")
            << QStringList { "olive:Downgrade=1.0-1" } << 0 << QStringList { "olive:Update:" }
            << QStringList { "olive-2.0-1.noarch" } << QStringList { "olive-1.0-1.noarch" };
    }

    void undo()
    {
        QFETCH(QStringList, first);
        QFETCH(int, id);
        QFETCH(QStringList, marks);
        QFETCH(QStringList, added);
        QFETCH(QStringList, removed);

        YumIOVersions versions(engine_);
        if (!first.isEmpty()) {
            mark(first);
            QVERIFY(engine_->apply());
            QVERIFY(engine_->clear() && engine_->collect({}));
            QVERIFY(errorDialogs().isEmpty());
            before_ = rpmInstalled();
            id = versions.transactions().value(0).id;
            QVERIFY(id > 4);
        }
        QStringList gone;
        QCOMPARE(versions.undo(id, gone), int(marks.size()));
        QCOMPARE(gone, QStringList());
        QStringList marked;
        for (const Package::Entry* e : engine_->catalogue())
            if (e->action != Package::None)
                marked << QString("%1:%2:%3").arg(e->name, Package::actionText(e->action), e->targetVerRel);
        QCOMPARE(marked, marks);
        QCOMPARE(rpmInstalled(), before_);
        presenter_.confirmAnswer = 0;
        QVERIFY(!engine_->apply());
        QCOMPARE(rpmInstalled(), before_);
        presenter_.confirmAnswer = 1;
        QVERIFY(engine_->apply());
        QVERIFY2(errorDialogs().isEmpty(), qPrintable(errorDialogs().join("\n--\n")));
        QCOMPARE(rpmInstalled(), installedAfter(added, removed));
    }

    // yum asks about something that is no transaction (a key to import): what it said since
    // the last listing is the question.
    void unlistedQuestion()
    {
        presenter_.confirmAnswer = 0;
        YumIO::PyGILStateWrapper lock(true);
        PyRef line = PyRef::steal(Py_BuildValue("(ls)", 2L, "Importing GPG key 0x0B86274E"));
        PyRef logged = PyRef::steal(engine_->log(nullptr, line.get()));
        PyRef result = PyRef::steal(engine_->userconfirm(nullptr, nullptr));
        QCOMPARE(result ? PyLong_AsLong(result.get()) : -1L, 0L);
        const auto asked = presenter_.of("confirm", "Query");
        QVERIFY(asked.size() == 1 && asked[0].text.endsWith("Importing GPG key 0x0B86274E\n"));
        QCOMPARE(this->logged(Log::Heading).value(1), QString("Confirmation: No"));
    }

    // tomato, marked for removal before its group, is marked again by the group.
    void groupExpansion()
    {
        mark({ "tomato:Remove", "@Garden:Remove" });
        presenter_.confirmAnswer = 0;
        QVERIFY(!engine_->apply());
        QStringList noted = logged(Log::Info, 4);
        noted.sort();
        QCOMPARE(noted, (QStringList { "For group Garden, marking package lime for Remove",
                                       "For group Garden, marking package tomato for Remove" }));
        QCOMPARE(this->handed(), QString("r:lime-1.0-1.noarch r:tomato-1.0-1.noarch"));
        // Refused at the confirmation: nothing changes, and the refusal is told as the
        // information it is, under its own heading.
        QVERIFY(logged(Log::Heading).contains("Not Applying: Canceled"));
        QCOMPARE(rpmInstalled(), before_);
        QStringList after;
        Log::EntryList& list = engine_->logList();
        list.lock();
        for (const Log::Entry& e : list)
            after = e.kind == Log::Heading ? QStringList { e.text }
                                           : after + QStringList { QString::number(int(e.kind)) + ":" + e.text };
        list.unlock();
        QCOMPARE(after, (QStringList { "Not Applying: Canceled",
                                       QString::number(int(Log::Info)) + ":Exiting on user Command" }));
        QVERIFY(logged(Log::Error).isEmpty());
    }

    void groupConflicts_data()
    {
        QTest::addColumn<QString>("pear");
        QTest::addColumn<QString>("orchard");
        QTest::addColumn<QString>("pie");
        QTest::addColumn<QList<int>>("answers");
        QTest::addColumn<QString>("handed");

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
            QCOMPARE(c.buttons.value(c.escapeButton), QString("Cancel"));
        }
        QCOMPARE(texts, expected);
        QCOMPARE(this->handed(), handed);
        // A cancelled conflict hands nothing to yum, so nothing is confirmed.
        QCOMPARE(presenter_.of("confirm").size(), answers.last() == 2 ? 0 : 1);
        const QString kept = answers.first() == 0 ? "Update" : pear.isEmpty() ? actions[0] : pear;
        QVERIFY(logged(Log::Info, 4).contains("Manually resolving conflict: marking package pear for " + kept));
        QCOMPARE(rpmInstalled(), before_);
    }

    // What each line of the solver's report adds to the acts and downloads, and what it reports.
    void solverLines()
    {
        struct Case {
            const char* line;
            int acts, downloads;
            QString error;
        };
        const QString tsinfo = "Internal error: TSINFO mentions ";
        const Case cases[] = {
            { "Marking melon-libs-1.0-1.x86_64 as install", 1, 0, "" },
            { "Marking grape-1.0-1.x86_64 as install", 1, 1, "" }, // its header is not cached
            { "Obsoleting cherry-1.0-1.noarch", 0, 0, "Internal error: unexpected TSINFO: Obsoleting cherry-1.0-1.noarch" },
            { "Marking nosuch-1.0-1.x86_64 as install", 0, 0, tsinfo + "unknown package: nosuch-1.0-1.x86_64" },
            { "Marking melon as install", 1, 0,
              tsinfo + "package melon which does not appear to be a valid envra; interpreting as package name" },
        };
        YumIO::PyGILStateWrapper lock(true);
        engine_->py("from yumio.catalogue import _AvailablePackage\n"
                    "_orvoHdr = _AvailablePackage.localHdr\n"
                    "_AvailablePackage.localHdr = lambda self: '/nonexistent/header' if self.name == 'grape' else _orvoHdr(self)\n");
        Progress::User progress(engine_->progressSlot(), nullptr, nullptr);
        for (const Case& c : cases) {
            presenter_.dialogs.clear();
            const quint32 actsBefore = engine_->dsActs();
            const quint32 downloadsBefore = engine_->dsDownloads();
            engine_->dsTsInfo(c.line);
            QVERIFY2(int(engine_->dsActs() - actsBefore) == c.acts, c.line);
            QVERIFY2(int(engine_->dsDownloads() - downloadsBefore) == c.downloads, c.line);
            QCOMPARE(errorDialogs(), c.error.isEmpty() ? QStringList() : QStringList { c.error });
        }
    }

    void callbacks_data()
    {
        QTest::addColumn<long>("what"); // 0: an event, not a callback
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("started"); // what the log says; empty: nothing starts
        QTest::addColumn<QString>("warning");

        const QString callback = "Internal error: YumIO::tsCallback ";
        QTest::newRow("install") << 3L << "melon" << "Installing melon" << "";
        QTest::newRow("install of an unknown package")
            << 3L << "nosuch" << "" << "Internal error: Unable to find package for install/update of nosuch.x86_64";
        QTest::newRow("removal not marked") << 256L << "tomato" << "Removing tomato" << callback + "UNINST of tomato not expected";
        QTest::newRow("erase event of an unknown package")
            << 0L << "nosuch" << "" << callback + "REMOVE/COMPLETE of nosuch not expected";
    }

    void callbacks()
    {
        QFETCH(long, what);
        QFETCH(QString, name);
        QFETCH(QString, started);
        QFETCH(QString, warning);

        Package::Entry* target = entry(name);
        if (target && what == 3)
            target->workAction = Package::Install;
        YumIO::PyGILStateWrapper lock(true);
        Progress::User progress(engine_->progressSlot(), nullptr, nullptr);
        // An erase event; a removal keyed by the bare name; an install keyed by name and architecture.
        if (!what)
            QVERIFY(call(&YumIO::tsEvent, "(slLLll)", qPrintable(name), 40L, 0LL, 10LL, 1L, 1L));
        else if (what == 256)
            QVERIFY(call(&YumIO::tsCallback, "(lLLsO)", what, 0LL, 10LL, qPrintable(name), Py_None));
        else
            QVERIFY(call(&YumIO::tsCallback, "(lLL({s:s,s:s})O)", what, 40LL, 100LL, "name", qPrintable(name), "arch",
                         "x86_64", Py_None));
        QCOMPARE(errorDialogs(), warning.isEmpty() ? QStringList() : QStringList { warning });
        QCOMPARE(logged(Log::Info, 1), started.isEmpty() ? QStringList() : QStringList { started });
        if (what == 3 && !started.isEmpty()) {
            // Both bits of what = 3: the step starts, then the item moves.
            QCOMPARE(engine_->progressSlot()->itemValue(), Steps(40));
            QCOMPARE(engine_->applyActsReached(), installActs(target));
        }
    }

    void removalsInTurn()
    {
        // kettle's row is its update; the two installed versions hang in its chain.
        Package::Entry* kettle = entry("kettle");
        QVERIFY(kettle && kettle->state == Package::AvailableForUpdate && kettle->next && kettle->next->next);
        kettle->workAction = Package::Remove;

        YumIO::PyGILStateWrapper lock(true);
        Progress::User progress(engine_->progressSlot(), nullptr, nullptr);
        const auto started = [&] { return QList<bool>({ kettle->next->started, kettle->next->next->started }); };
        QVERIFY(call(&YumIO::tsCallback, "(lLLsO)", 256L, 0LL, 10LL, "kettle", Py_None));
        QCOMPARE(started(), QList<bool>({ true, false }));
        QVERIFY(call(&YumIO::tsCallback, "(lLLsO)", 256L, 0LL, 10LL, "kettle", Py_None));
        QCOMPARE(started(), QList<bool>({ true, true }));
        QVERIFY(call(&YumIO::tsCallback, "(lLLsO)", 256L, 0LL, 10LL, "kettle", Py_None));
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
        event(melon, 100, 1);
        event(libs, 30, 2);
        QCOMPARE(logged(Log::Info, 1), QStringList({ "Installing melon", "Installing melon-libs" }));
        QCOMPARE(engine_->applyActsReached(), installActs(melon) + installActs(libs));
    }

    // Applies in turn on one catalogue, as a user does after a refusal or a failure: each
    // step is "marks|answer|result", its marks replacing the last ones ("=" keeps them).
    void sequences_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QString>("refusal"); // in the first step's error; empty: none shown
        QTest::addColumn<QStringList>("added");
        QTest::addColumn<QStringList>("removed");

        const QStringList melon { "melon-1.0-1.x86_64", "melon-libs-1.0-1.x86_64" };
        QTest::newRow("refuse then accept") << QStringList { "pear:Update|0|0", "=|1|1" } << QString()
                                            << QStringList { "pear-1.1-1.x86_64", "pear-data-1.1-1.noarch" }
                                            << QStringList { "pear-1.0-1.x86_64" };
        QTest::newRow("nothing to do then install")
            << QStringList { "|1|0", "melon:Install|1|1" } << QString() << melon << QStringList();
        QTest::newRow("conflict then install") << QStringList { "lemon:Install|1|0", "melon:Install|1|1" } << "lime"
                                               << melon << QStringList();
        QTest::newRow("failing scriptlet then install")
            << QStringList { "bramble:Install|1|0", "melon:Install|1|1" } << "Transaction failed: bramble" << melon
            << QStringList();
        QTest::newRow("protected then removal")
            << QStringList { "plum:Remove|1|0", "lime:Remove|1|1" }
            << "The operation would result in removing the following protected packages: plum" << QStringList()
            << QStringList { "lime-1.0-1.noarch" };
    }

    void sequences()
    {
        QFETCH(QStringList, steps);
        QFETCH(QString, refusal);
        QFETCH(QStringList, added);
        QFETCH(QStringList, removed);

        for (int i = 0; i < steps.size(); ++i) {
            const QStringList step = steps[i].split('|');
            if (step[0] != "=") {
                for (Package::Entry* e : engine_->catalogue())
                    e->action = Package::None;
                mark(step[0].split(' ', Qt::SkipEmptyParts));
            }
            QStringList marked;
            for (const Package::Entry* e : engine_->catalogue())
                if (e->action != Package::None)
                    marked << e->name;
            presenter_.dialogs.clear();
            presenter_.confirmAnswer = step[1].toInt();
            QCOMPARE(engine_->apply(), step[2] == "1");
            const QStringList errors = errorDialogs();
            if (i == 0 && !refusal.isEmpty())
                QVERIFY2(errors.size() == 1 && errors[0].contains(refusal), qPrintable(errors.join('\n')));
            else
                QCOMPARE(errors, QStringList());
            if (step[2] == "1")
                break;
            QCOMPARE(rpmInstalled(), before_);
            presenter_.dialogs.clear();
            // The same catalogue serves on: marks, extra data and descriptions.
            QStringList still;
            for (const Package::Entry* e : engine_->catalogue())
                if (e->action != Package::None)
                    still << e->name;
            QCOMPARE(still, marked);
            QVERIFY(engine_->collectOtherData());
            QVERIFY(engine_->getChangeLog(*entry("pear")).contains("Crisper skin."));
            QVERIFY(engine_->getDescription(*entry("melon")).contains("A melon."));
            QCOMPARE(errorDialogs(), QStringList());
        }
        QCOMPARE(rpmInstalled(), installedAfter(added, removed));
    }

    // Another program removes a package while the catalogue stands: the next apply collects
    // again first, keeps the marks of packages still there and goes on.
    void changedOutside()
    {
        mark({ "pear:Update", "lime:Remove", "tomato:Remove" });
        QProcess rpm;
        rpm.start("rpm", { "--root", root_.path(), "--dbpath", "/var/lib/rpm", "-e", "--nodeps", "lime" });
        QVERIFY(rpm.waitForFinished(-1) && rpm.exitCode() == 0);
        QStringList told;
        connect(engine_, &YumIO::collectedAgain, this, [&](const QString& text) { told << text; });
        presenter_.confirmAnswer = 1;
        QVERIFY(engine_->apply());
        QCOMPARE(errorDialogs(), QStringList());
        QCOMPARE(told.size(), 1);
        QVERIFY2(told[0].endsWith("Marks dropped, their packages changed: lime."), qPrintable(told[0]));
        QVERIFY(logged(Log::Warning).contains(told[0]));
        QCOMPARE(rpmInstalled(), installedAfter({ "pear-1.1-1.x86_64", "pear-data-1.1-1.noarch" },
                                                { "lime-1.0-1.noarch", "pear-1.0-1.x86_64", "tomato-1.0-1.noarch" }));
    }

    // An interrupted transaction left two versions of pear in the rpm database: the older
    // one is found and removed as a transaction of its own, confirmed like any other.
    void duplicates()
    {
        QProcess rpm;
        rpm.start("rpm", { "--root", root_.path(), "--dbpath", "/var/lib/rpm", "-i", "--justdb", "--nodeps",
                           "--replacefiles", qEnvironmentVariable("ORVO_SANDBOX") + "/repos/updates/Packages/pear-1.1-1.x86_64.rpm" });
        QVERIFY(rpm.waitForFinished(-1) && rpm.exitCode() == 0);
        QVERIFY(engine_->clear() && engine_->collect({}));
        mark({ "melon:Install" }); // no part of it
        QCOMPARE(engine_->olderDuplicates(), QStringList({ "pear-1.0-1.x86_64" }));
        presenter_.confirmAnswer = 1;
        QVERIFY(engine_->removeDuplicates());
        QCOMPARE(errorDialogs(), QStringList());
        const auto confirmations = presenter_.of("confirm");
        QVERIFY(confirmations.size() == 1
                && confirmations[0].text.startsWith("Transaction to be performed:\n\tRemove: pear 1.0-1 (x86_64)\n"));
        QCOMPARE(rpmInstalled(), installedAfter({ "pear-1.1-1.x86_64" }, { "pear-1.0-1.x86_64" }));
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
