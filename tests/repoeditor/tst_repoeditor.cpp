#include "repo/RepoEditorConfig.h"
#include "repo/RepoEditorConfigDialog.h"
#include "repo/RepoEditorDialog.h"
#include "repo/RepoEditorModel.h"
#include "repo/RepoEditorView.h"
#include "repo/RepoEntry.h"
#include "repo/RepoMessageBoxes.h"
#include "repo/RepoMessages.h"
#include "repo/YumConfIO.h"
#include "repo/YumRepoEnabled.h"
#include "widgets/Colors.h"
#include "widgets/HFrameLabel.h"
#include "widgets/ModalAnswer.h"
#include "widgets/PasswdLineEdit.h"
#include "widgets/PasswdTextEdit.h"

#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest>

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>

using Files = QMap<QString, QByteArray>;

namespace {

bool writeFile(const QString& path, const QByteArray& text)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size();
}

Files snapshot(const QString& root)
{
    Files files;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        files.insert(file.fileName().mid(root.size()), file.open(QIODevice::ReadOnly) ? file.readAll() : "?");
    }
    return files;
}

// Written as the writer writes them, so that rewriting a file keeps it byte for byte.
const char* const kMain = "# main configuration\n[main]\ncachedir=/var/cache/yum\nreposdir=/etc/yum.repos.d\n";
const char* const kAlpha = "[repo10]\nname=Ten\nbaseurl=file:///srv/10\n# kept comment\nmetadata_expire=7d\n\n"
                           "[repo2]\nname=Two\nbaseurl=file:///srv/2\nenabled=1\n";
const char* const kBeta = "[repo]\nname=Plain\nmirrorlist=http://m.example/list\ngpgcheck=0\n";
const char* const kGamma = "[repo1b]\nname=One b\nbaseurl=file:///srv/1b\nenabled=0\n";
const char* const kNotes = "not a repository file\n";

QPushButton* button(QWidget& parent, const QString& text)
{
    for (QPushButton* found : parent.findChildren<QPushButton*>()) {
        if (found->text() == text)
            return found;
    }
    qFatal("no button %s", qPrintable(text));
}

template <typename T>
T* field(QWidget& parent, const char* name)
{
    T* found = parent.findChild<T*>(QLatin1String(name));
    if (!found)
        qFatal("no field %s", name);
    return found;
}

// Replaces a form field's text by typing, as the user would.
void retype(QWidget& form, const char* name, const QString& text)
{
    auto* edit = field<QLineEdit>(form, name);
    edit->selectAll();
    QTest::keyClicks(edit, text);
}

} // namespace

class TestRepoEditor final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        root_ = std::make_unique<QTemporaryDir>();
        QVERIFY(root_->isValid());
        qputenv("ORVOROOT", root_->path().toLocal8Bit());
        used_.clear();
        errors_.clear();
        questions_.clear();
        form_ = nullptr;
        Repo::MessageBoxes::install();
        // Message boxes are recorded, questions declined; the form is driven by form_.
        ModalAnswer::install([this](QDialog& dialog) {
            if (auto* box = qobject_cast<QMessageBox*>(&dialog)) {
                const bool question = box->standardButtons() != QMessageBox::Ok;
                (question ? questions_ : errors_) << box->windowTitle() + "|" + box->text();
                return int(question ? QMessageBox::No : QMessageBox::Ok);
            }
            if (auto* form = qobject_cast<RepoEditor::ConfigDialog*>(&dialog); form && form_)
                form_(*form);
            return dialog.result();
        });
    }

    void cleanup()
    {
        ModalAnswer::clear();
        Repo::Messages::clear();
        qunsetenv("ORVOROOT");
    }

    // ------------------------------------------------------------------ form

    void formCredentials()
    {
        writeRoot();
        YumConfIO conf(requests_, used_);
        QVERIFY(conf.read(nullptr));
        RepoEditor::ConfigDialog dialog(&conf);
        Repo::Entry entry;
        entry.id = "private";
        entry.baseurl = "http://a.example/larder?user=me&pass=secret&path=one\nhttp://b.example/plain";
        entry.mirrorlist = "https://c.example/rhel/u=me/p=secret/list";
        dialog.setEntry(&entry);
        auto* urls = field<PasswdTextEdit>(dialog, "urls");
        auto* mirrorlist = field<PasswdLineEdit>(dialog, "mirrorlist");
        auto* name = field<QLineEdit>(dialog, "authName");
        auto* password = field<QLineEdit>(dialog, "authPassword");
        QVERIFY(!urls->toPlainText().contains("secret") && !mirrorlist->text().contains("secret"));
        QCOMPARE(name->text() + "|" + password->text(), QStringLiteral("me|secret"));
        // Typed credentials go into every URL, encoded, while the URL fields stay masked.
        retype(dialog, "authPassword", "p:w");
        retype(dialog, "authName", "a@b");
        const Repo::Entry edited = dialog.config()->toEntry();
        QCOMPARE(edited.baseurl, QStringLiteral("http://a.example/larder?user=a%40b&pass=p%3aw&path=one\n"
                                                "http://b.example/plain"));
        QCOMPARE(edited.mirrorlist, QStringLiteral("https://c.example/rhel/u=a%40b/p=p%3aw/list"));
        QVERIFY(!urls->toPlainText().contains("p%3aw") && !mirrorlist->text().contains("p%3aw"));
        // A URL typed by hand brings its credentials into the fields.
        urls->setRealPlainText("http://d.example/larder?k=typed&q=pw&path=/");
        QCOMPARE(name->text() + "|" + password->text(), QStringLiteral("typed|pw"));
    }

    void formStatus_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("urls");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("other");
        QTest::addColumn<bool>("red");
        QTest::addColumn<QString>("expected"); // on yellow, what cannot be saved on red
        const QString url = "http://a.example/repo";
        QTest::newRow("complete, file left empty") << "r" << url << "" << "" << false << "";
        QTest::newRow("no identifier before no URLs") << "" << "" << "/srv/x" << "" << true << "No Identifier specified";
        QTest::newRow("blank URLs") << "r" << " \n " << "" << "" << false << "No URLs or Mirror list URL specified";
        QTest::newRow("directory only as a prefix")
            << "r" << url << "/etc/yum.repos.dx/r.repo" << "" << false << "File is not in any reposdir directory";
        QTest::newRow("no .repo before credentials") << "r" << "http://a/larder?u=&p=&path=x"
                                                     << "/etc/yum.repos.d/r.conf" << "" << false << "File lacks .repo suffix";
        QTest::newRow("no larder password")
            << "r" << "http://a/rhel/u=me/p=/list" << "" << "" << false << "No Larder Authentication Password specified";
        // What the package manager would misread, before anything else.
        QTest::newRow("blank inside a URL")
            << "" << "http://x/a b" << "" << "" << true
            << "URLs, line 1: a URL cannot hold blanks; put each URL on a line of its own";
        QTest::newRow("URL without a scheme, several lines, others fine")
            << "r" << "FILE:///srv/a\n\n  mirror.example/x  " << "" << "# note\n\tcontinued" << true
            << "URLs, line 3: the URL does not begin with a scheme the package manager knows "
               "(http://, https://, ftp://, ftps://, file://)";
        QTest::newRow("bare line among options")
            << "r" << url << "" << "cost=1\n; comment\nbogusline" << true
            << "Other Options: \"bogusline\" is not of the form name=value";
        QTest::newRow("name with a blank")
            << "r" << url << "" << "foo bar = 2" << true
            << "Other Options: the name \"foo bar \" is empty or holds blanks, \"=\" or \":\"";
        QTest::newRow("empty name") << "r" << url << "" << "=2" << true
                                    << "Other Options: the name \"\" is empty or holds blanks, \"=\" or \":\"";
    }

    void formStatus()
    {
        QFETCH(QString, id);
        QFETCH(QString, urls);
        QFETCH(QString, file);
        QFETCH(QString, other);
        QFETCH(bool, red);
        QFETCH(QString, expected);
        writeRoot();
        YumConfIO conf(requests_, used_);
        QVERIFY(conf.read(nullptr));
        RepoEditor::Config form;
        Repo::Entry entry;
        entry.id = id;
        entry.baseurl = urls;
        entry.file = file;
        entry.otherOptions = other;
        form.setEntry(entry);
        HFrameLabel label;
        QCOMPARE(form.setStatus(conf, &label), !expected.isEmpty());
        QCOMPARE(label.text(), expected);
        if (!expected.isEmpty())
            QCOMPARE(label.palette().color(QPalette::Window),
                     QColor(red ? Colors::errorBg() : Colors::warningBg()));
    }

    // OK on a form the package manager would misread keeps it open and the entry as it
    // was; once corrected, OK takes it.
    void formRefusesThenTakes()
    {
        writeRoot();
        YumConfIO conf(requests_, used_);
        QVERIFY(conf.read(nullptr));
        RepoEditor::ConfigDialog dialog(&conf);
        Repo::Entry entry = conf.repos().first();
        const Repo::Entry before = entry;
        dialog.setEntry(&entry);
        dialog.show();
        auto* urls = field<PasswdTextEdit>(dialog, "urls");
        urls->setRealPlainText("http://x/a b");
        button(dialog, "OK")->click();
        QVERIFY(dialog.isVisible());
        QCOMPARE(entry, before);
        urls->setRealPlainText("http://x/a\nhttp://x/b");
        button(dialog, "OK")->click();
        QVERIFY(!dialog.isVisible());
        QCOMPARE(entry.baseurl, QStringLiteral("http://x/a\nhttp://x/b"));
        QCOMPARE(entry.origin, before.origin);
    }

    // ------------------------------------------------------------------ editor

    void editorShowing()
    {
        writeRoot();
        auto editor = makeEditor();
        QCOMPARE(shownIds(*editor), QStringList({"repo", "repo1b", "repo2", "repo10"}));
        QCOMPARE(enabledButtons(*editor), QStringList({"Add", "Cancel", "OK"}));
        // Enter on a row opens its form, as a double click does.
        QString opened;
        form_ = [&opened](RepoEditor::ConfigDialog& form) { opened = field<QLineEdit>(form, "identifier")->text(); };
        auto* view = editor->findChild<RepoEditor::View*>();
        view->setCurrentIndex(view->model()->index(1, 0));
        QTest::keyClick(view, Qt::Key_Return);
        QCOMPARE(opened, QStringLiteral("repo1b"));
    }

    void newEntryWithoutIdentifier()
    {
        writeRoot();
        const Files before = snapshot(root_->path());
        auto editor = makeEditor();
        fillForm("name", "Nameless");
        button(*editor, "Add")->click();
        QCOMPARE(status(*editor)->text(), QStringLiteral("A repository has no Identifier"));
        // Declining to drop it writes nothing and keeps the change pending.
        button(*editor, "Apply")->click();
        QCOMPARE(questions_, QStringList{"Repository Editor|A repository has no Identifier.  It will be removed."
                                         "  Proceed?"});
        QCOMPARE(snapshot(root_->path()), before);
        QVERIFY(button(*editor, "Apply")->isEnabled());
    }

    // Perm cycles, a double click edits, Apply writes; then removal, copy and OK.
    void editsApplied()
    {
        writeRoot();
        auto editor = makeEditor();
        // Default while [main] enables turns to No, and never back to Default.
        clickCell(*editor, row("repo10"), RepoEditor::Model::EnabledColumn);
        QCOMPARE(yumConfIO_->repos().at(row("repo10")).enabled, Repo::No);
        clickCell(*editor, row("repo10"), RepoEditor::Model::EnabledColumn);
        QCOMPARE(yumConfIO_->repos().at(row("repo10")).enabled, Repo::Yes);
        clickCell(*editor, row("repo10"), RepoEditor::Model::EnabledColumn);
        // A double click edits the row.
        fillForm("name", "Zwei");
        const QPoint cell = cellRect(*editor, row("repo2"), RepoEditor::Model::NameColumn).center();
        QTest::mouseClick(editor->view()->viewport(), Qt::LeftButton, {}, cell);
        QTest::mouseDClick(editor->view()->viewport(), Qt::LeftButton, {}, cell);
        QTest::mouseRelease(editor->view()->viewport(), Qt::LeftButton, {}, cell);
        QCOMPARE(editor->model()->index(row("repo2"), 3).data().toString(), QStringLiteral("Zwei"));
        Files expected = snapshot(root_->path());
        button(*editor, "Apply")->click();
        QCOMPARE(errors_, QStringList());
        expected["/etc/yum.repos.d/alpha.repo"] = "[repo10]\nname=Ten\nbaseurl=file:///srv/10\n"
                                                  "# kept comment\nmetadata_expire=7d\nenabled=0\n\n"
                                                  "[repo2]\nname=Zwei\nbaseurl=file:///srv/2\nenabled=1\n";
        QCOMPARE(snapshot(root_->path()), expected);
        QVERIFY(!button(*editor, "Apply")->isEnabled());
        QCOMPARE(editor->view()->currentRow(), row("repo2"));
        // Several rows go at once; a copy keeping its identifier is named in the status.
        RepoEditor::View* view = editor->view();
        view->setCurrentRow(row("repo"));
        for (int modelRow : {row("repo10"), row("repo2")})
            view->selectionModel()->select(proxyIndex(*editor, modelRow, 0),
                                           QItemSelectionModel::Select | QItemSelectionModel::Rows);
        button(*editor, "Remove")->click();
        QCOMPARE(shownIds(*editor), QStringList{"repo1b"});
        view->setCurrentRow(0);
        fillForm("name", "One b copy");
        button(*editor, "Copy")->click();
        QCOMPARE(status(*editor)->text(), QStringLiteral("Two or more repositories have the Identifier, repo1b"));
        fillForm("identifier", "copied");
        button(*editor, "Edit")->click();
        button(*editor, "OK")->click();
        QVERIFY(!editor->isVisible());
        QCOMPARE(snapshot(root_->path()),
                 Files({{"/etc/yum.conf", kMain},
                        {"/etc/yum.repos.d/gamma.repo", "[repo1b]\nname=One b\nbaseurl=file:///srv/1b\nenabled=0\n\n"
                                                        "[copied]\nname=One b copy\nbaseurl=file:///srv/1b\nenabled=0\n"},
                        {"/etc/yum.repos.d/notes.txt", kNotes}}));
    }

    void reposChangedOnHiding_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<int>("emitted");
        QTest::newRow("forced") << "force cancel" << 1;
        QTest::newRow("session use") << "sess ok" << 1;
        QTest::newRow("session use, then Cancel") << "sess cancel" << 0;
        QTest::newRow("configuration changed, then Cancel") << "perm remove cancel" << 0;
    }

    // Cancel also puts back the configuration and the session use of the showing.
    void reposChangedOnHiding()
    {
        QFETCH(QString, steps);
        QFETCH(int, emitted);
        writeRoot();
        used_.insert("repo2", false);
        yumConfIO_ = std::make_unique<YumConfIO>(requests_, used_);
        RepoEditor::Dialog editor(nullptr, yumConfIO_.get());
        QSignalSpy reposChanged(&editor, &RepoEditor::Dialog::reposChanged);
        editor.setForceReposChanged(steps.contains("force"));
        editor.show();
        const Files before = snapshot(root_->path());
        const QHash<QString, bool> use = used_;
        const QList<Repo::Entry> repos = yumConfIO_->repos();
        if (steps.contains("sess")) {
            clickCell(editor, row("repo2"), RepoEditor::Model::UseColumn);
            QCOMPARE(used_.value("repo2"), true);
        }
        if (steps.contains("perm"))
            clickCell(editor, row("repo"), RepoEditor::Model::EnabledColumn);
        if (steps.contains("remove")) {
            editor.view()->setCurrentRow(row("repo10"));
            button(editor, "Remove")->click();
        }
        QCOMPARE(reposChanged.count(), 0); // sent on hiding only
        button(editor, steps.endsWith("ok") ? "OK" : "Cancel")->click();
        QVERIFY(!editor.isVisible());
        QCOMPARE(reposChanged.count(), emitted);
        if (steps.endsWith("cancel")) {
            QCOMPARE(snapshot(root_->path()), before);
            QCOMPARE(used_, use);
            QCOMPARE(yumConfIO_->repos(), repos);
        }
        // The next showing starts afresh, the force flag spent.
        editor.show();
        button(editor, "OK")->click();
        QCOMPARE(reposChanged.count(), emitted);
    }

    void failedWriteKeepsEditorOpen()
    {
        writeRoot();
        auto editor = makeEditor();
        const Files before = snapshot(root_->path());
        editor->view()->setCurrentRow(row("repo"));
        // A path through a regular file cannot be written, even by the superuser.
        fillForm("file", "/etc/yum.repos.d/notes.txt/beta.repo");
        button(*editor, "Edit")->click();
        button(*editor, "OK")->click();
        const QString errnoText = QStringLiteral("; errno = %1 (%2).").arg(ENOTDIR).arg(strerror(ENOTDIR));
        QCOMPARE(errors_, QStringList{"Orvo Repository Editor Error|Unable to write repository configuration file "
                                      + path("/etc/yum.repos.d/notes.txt/beta.repo") + errnoText});
        QVERIFY(editor->isVisible());
        QCOMPARE(snapshot(root_->path()), before);
    }

    void failedReadLocksEditor()
    {
        writeRoot();
        QVERIFY(writeFile(path("/etc/yum.repos.d/broken.repo"), "[broken\nname=x\n"));
        const Files before = snapshot(root_->path());
        auto editor = makeEditor();
        QCOMPARE(errors_.size(), 1);
        QVERIFY(errors_.first().contains("Malformed section name in line: [broken"));
        // Writing back what was read in part would delete the files not read.
        QVERIFY(!editor->view()->isEnabled());
        QCOMPARE(enabledButtons(*editor), QStringList({"Cancel", "OK"}));
        button(*editor, "OK")->click();
        QVERIFY(!editor->isVisible());
        QCOMPARE(snapshot(root_->path()), before);
    }

private:
    QString path(const QString& file) const { return root_->path() + file; }

    // The next form shown gets the text in one field and is closed with OK.
    void fillForm(const char* name, const QString& text)
    {
        form_ = [name, text](RepoEditor::ConfigDialog& form) {
            retype(form, name, text);
            button(form, "OK")->click();
        };
    }

    void writeRoot(const QByteArray& main = kMain)
    {
        const Files files{{"/etc/yum.conf", main}, {"/etc/yum.repos.d/alpha.repo", kAlpha},
                          {"/etc/yum.repos.d/beta.repo", kBeta}, {"/etc/yum.repos.d/gamma.repo", kGamma},
                          {"/etc/yum.repos.d/notes.txt", kNotes}};
        for (auto it = files.cbegin(); it != files.cend(); ++it)
            QVERIFY(writeFile(path(it.key()), it.value()));
    }

    // A shown editor on a fresh configuration object.
    std::unique_ptr<RepoEditor::Dialog> makeEditor()
    {
        yumConfIO_ = std::make_unique<YumConfIO>(requests_, used_);
        auto editor = std::make_unique<RepoEditor::Dialog>(nullptr, yumConfIO_.get());
        editor->show();
        return editor;
    }

    static QStringList enabledButtons(RepoEditor::Dialog& editor)
    {
        QStringList names;
        for (const char* text :
             {"Browse Repository", "Edit", "Add", "Copy", "Remove", "Reset All", "Cancel", "Apply", "OK"}) {
            if (button(editor, text)->isEnabled())
                names << text;
        }
        return names;
    }

    static HFrameLabel* status(RepoEditor::Dialog& editor) { return field<HFrameLabel>(editor, "status"); }

    // Identifiers in the order the view shows them.
    static QStringList shownIds(RepoEditor::Dialog& editor)
    {
        QStringList ids;
        const QAbstractItemModel* shown = editor.view()->model();
        for (int r = 0; r < shown->rowCount(); ++r)
            ids << shown->index(r, RepoEditor::Model::IdColumn).data().toString();
        return ids;
    }

    // The model row of the first entry with the identifier.
    int row(const QString& id) const
    {
        const QList<Repo::Entry>& repos = yumConfIO_->repos();
        const auto it = std::find_if(repos.cbegin(), repos.cend(), [&](const Repo::Entry& e) { return e.id == id; });
        return it == repos.cend() ? -1 : int(it - repos.cbegin());
    }

    static QModelIndex proxyIndex(RepoEditor::Dialog& editor, int modelRow, int column)
    {
        const auto* proxy = static_cast<const QSortFilterProxyModel*>(editor.view()->model());
        return proxy->mapFromSource(editor.model()->index(modelRow, column));
    }

    static QRect cellRect(RepoEditor::Dialog& editor, int modelRow, int column)
    {
        return editor.view()->visualRect(proxyIndex(editor, modelRow, column));
    }

    static void clickCell(RepoEditor::Dialog& editor, int modelRow, int column)
    {
        QTest::mouseClick(editor.view()->viewport(), Qt::LeftButton, {}, cellRect(editor, modelRow, column).center());
    }

    std::unique_ptr<QTemporaryDir> root_;
    QList<YumRepoEnabled> requests_;
    QHash<QString, bool> used_;
    std::unique_ptr<YumConfIO> yumConfIO_;
    QStringList errors_;
    QStringList questions_;
    std::function<void(RepoEditor::ConfigDialog&)> form_;
};

QTEST_MAIN(TestRepoEditor)
#include "tst_repoeditor.moc"
