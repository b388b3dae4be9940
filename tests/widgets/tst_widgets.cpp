#include "repo/RepoLarder.h"
#include "widgets/Colors.h"
#include "widgets/BreakableText.h"
#include "widgets/HDialog.h"
#include "widgets/HFrameLabel.h"
#include "widgets/HItemDelegate.h"
#include "widgets/HScrollArea.h"
#include "widgets/HTableView.h"
#include "widgets/HTextEdit.h"
#include "widgets/PasswdLineEdit.h"
#include "widgets/PasswdTextEdit.h"
#include "widgets/ScrollableConfirmDialog.h"
#include "widgets/ScrollableErrorDialog.h"
#include "widgets/TextDialog.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QStandardItemModel>
#include <QStyle>
#include <QTextBlock>
#include <QTimer>
#include <QVBoxLayout>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

const QString larderUrl = QStringLiteral("http://host/larder?user=alice&pass=s3cret&path=repo/");
const QString larderShown = QStringLiteral("http://host/larder?user=alice&pass=******&path=repo/");
const QString rhelUrl = QStringLiteral("https://host/rhel/u=bob/p=pw/os/x86_64/");
const QString rhelShown = QStringLiteral("https://host/rhel/u=bob/p=**/os/x86_64/");

// '*' in the expected texts stands for the style's password character.
QString masked(QString text, const QWidget* widget)
{
    const QStyle* style = widget->style();
    return text.replace('*', QChar(style->styleHint(QStyle::SH_LineEdit_PasswordCharacter, nullptr, widget)));
}

QSize screenLimit() { return QGuiApplication::primaryScreen()->geometry().size() * 9 / 10; }

struct Sized final : QWidget
{
    explicit Sized(const QSize& hint) : hint(hint) {}
    QSize sizeHint() const override { return hint; }
    const QSize hint;
};

// Whether a right click on the target opens any pop-up; one that opens is closed.
bool rightClickOpensPopup(QWidget* target)
{
    bool opened = false;
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, [&] {
        if (QWidget* popup = QApplication::activePopupWidget()) {
            opened = true;
            popup->close();
        }
    });
    closer.start(5);
    const QPoint pos(5, 5);
    QTest::mouseClick(target, Qt::RightButton, Qt::NoModifier, pos);
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, target->mapToGlobal(pos));
    QCoreApplication::sendEvent(target, &event);
    QTest::qWait(30);
    return opened;
}

// The rectangle each focus frame was drawn around.
struct FocusRecorder final : HItemDelegate
{
    mutable QList<QRect> frames;
    void drawFocus(QPainter* painter, const QStyleOptionViewItem& option, const QRect& rect) const override
    {
        if (option.state & QStyle::State_HasFocus)
            frames << rect;
        HItemDelegate::drawFocus(painter, option, rect);
    }
};

} // namespace

class TestWidgets final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A focused cell holding a check box alone is framed whole, not by a stray box where
    // its (empty) text would go; a text cell keeps its frame inside the cell.
    void focusFrames_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("check box alone") << QString();
        QTest::newRow("text") << QString("orvo-base");
    }

    void focusFrames()
    {
        QFETCH(QString, text);
        QStandardItemModel model(1, 1);
        auto* item = new QStandardItem(text);
        item->setCheckable(true);
        item->setCheckState(Qt::Checked);
        model.setItem(0, 0, item);
        FocusRecorder delegate;
        QStyleOptionViewItem option;
        option.rect = QRect(0, 0, 60, 28);
        option.state = QStyle::State_Enabled | QStyle::State_HasFocus;
        option.font = QApplication::font();
        option.fontMetrics = QFontMetrics(option.font);
        QImage image(option.rect.size(), QImage::Format_ARGB32);
        QPainter painter(&image);
        delegate.paint(&painter, option, model.index(0, 0));
        QCOMPARE(delegate.frames.size(), 1);
        const QRect frame = delegate.frames[0];
        QVERIFY(option.rect.contains(frame));
        if (text.isEmpty())
            QVERIFY2(frame.height() >= option.rect.height() - 2 && frame.width() >= option.rect.width() - 2,
                     qPrintable(QString("%1x%2").arg(frame.width()).arg(frame.height())));
    }

    // Text turns white only on a dark background; disabled fields keep their usual base.
    void palettes()
    {
        QPalette original;
        original.setColor(QPalette::WindowText, Qt::darkGreen);
        original.setColor(QPalette::Base, Qt::white);
        const QPalette dark = Colors::makeWindow(original, QStringLiteral("#7b7b7b"));
        const QPalette light = Colors::makeWindow(original, QStringLiteral("#7c7c7c"));
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            QCOMPARE(dark.color(group, QPalette::Window), QColor("#7b7b7b"));
            QCOMPARE(dark.color(group, QPalette::WindowText), QColor(Qt::white));
            QCOMPARE(light.color(group, QPalette::WindowText), QColor(Qt::black));
        }
        const QPalette required = Colors::makeRequired(original);
        QCOMPARE(required.color(QPalette::Active, QPalette::Base), QColor("#fffacd"));
        QCOMPARE(required.color(QPalette::Disabled, QPalette::Base), QColor(Qt::white));
    }

    // A plain dialog shows that the keys would otherwise answer it.
    void dialogIgnoresReturn()
    {
        for (const bool refined : {false, true}) {
            std::unique_ptr<QDialog> dialog(refined ? new HDialog : new QDialog);
            auto* edit = new QLineEdit(dialog.get());
            auto* ok = new QPushButton(QStringLiteral("OK"), dialog.get());
            ok->setDefault(true);
            connect(ok, &QPushButton::clicked, dialog.get(), &QDialog::accept);
            dialog->show();
            QVERIFY(QTest::qWaitForWindowExposed(dialog.get()));
            edit->setFocus();
            QTest::keyClick(edit, Qt::Key_Return);
            QTest::keyClick(edit, Qt::Key_Enter);
            QCOMPARE(dialog->isVisible(), refined);
            QCOMPARE(dialog->result(), refined ? 0 : int(QDialog::Accepted));
            QTest::keyClick(edit, Qt::Key_Escape);
            QVERIFY(!dialog->isVisible());
        }
    }

    void frameLabel()
    {
        HFrameLabel label;
        const QColor normal = label.palette().color(QPalette::Window), warning("yellow");
        QVERIFY(normal != warning && label.autoFillBackground());
        // Remembered while there is nothing to say.
        label.setPalette(Colors::makeWarning(label.palette()));
        QCOMPARE(label.frameShape(), QFrame::NoFrame);
        QCOMPARE(label.palette().color(QPalette::Window), normal);
        label.setText(QStringLiteral("3 unlisted actions"));
        QCOMPARE(label.frameShape(), QFrame::StyledPanel);
        QCOMPARE(label.palette().color(QPalette::Window), warning);
        label.setText(QString());
        QCOMPARE(label.palette().color(QPalette::Window), normal);
        // A new palette shows at once while there is text.
        label.setText(QStringLiteral("again"));
        label.setPalette(Colors::makeError(label.palette()));
        QCOMPARE(label.palette().color(QPalette::Window), QColor("#ff6060"));
    }

    // Sizes in characters of the font in use when asked, bounded by the screen.
    void sizeHints()
    {
        QCOMPARE(HTextEdit(2000, 500).sizeHint(), screenLimit());
        HTextEdit edit(30, 5);
        const QSize small = edit.sizeHint();
        QVERIFY(small.width() < HTextEdit(60, 5).sizeHint().width() && small.height() < HTextEdit(30, 10).sizeHint().height());
        QFont big = edit.font();
        big.setPointSize(big.pointSize() * 2);
        edit.setFont(big);
        QVERIFY(edit.sizeHint().width() > small.width());
        HScrollArea area(20, 5);
        QCOMPARE(area.sizeHint(), QScrollArea().sizeHint());
        area.setWidget(new Sized(QSize(2000, 2000)));
        const QFontMetrics metrics = area.fontMetrics();
        QCOMPARE(area.sizeHint(), QSize(20 * metrics.horizontalAdvance('n'), 5 * metrics.height()));
    }

    void appendCompact()
    {
        HTextEdit edit;
        // A heading brings its own margins; the compact form takes them away.
        edit.append(QStringLiteral("<h2>Spaced</h2>"));
        QVERIFY(edit.document()->lastBlock().blockFormat().topMargin() > 0);
        edit.clear();
        const QStringList lines{"<h2><font color=\"blue\">Applying: OK</font></h2>",
                                "<font color=\"green\">Installing&#x0020;foo</font>", "last"};
        for (const QString& line : lines)
            edit.appendCompact(line);
        QCOMPARE(edit.document()->blockCount(), lines.size());
        for (QTextBlock block = edit.document()->begin(); block.isValid(); block = block.next())
            QCOMPARE(block.blockFormat().topMargin() + block.blockFormat().bottomMargin(), 0.0);
    }

    void editingFinished()
    {
        HTextEdit edit;
        QSignalSpy finished(&edit, &HTextEdit::editingFinished);
        const auto focusOut = [&](Qt::FocusReason reason) {
            QFocusEvent event(QEvent::FocusOut, reason);
            QCoreApplication::sendEvent(&edit, &event);
            return finished.count();
        };
        QCOMPARE(focusOut(Qt::TabFocusReason), 1);
        QCOMPARE(focusOut(Qt::ActiveWindowFocusReason), 2);
        QCOMPARE(focusOut(Qt::PopupFocusReason), 2);
        // The editor's own pop-ups (its context menu hangs from the viewport) end nothing;
        // someone else's does.
        for (QWidget* parent : {static_cast<QWidget*>(&edit), edit.viewport(), (QWidget*)nullptr}) {
            std::unique_ptr<QMenu> popup(new QMenu(parent));
            popup->addAction(QStringLiteral("Item"));
            popup->popup(QPoint(5, 5));
            QCOMPARE(focusOut(Qt::OtherFocusReason), parent ? 2 : 3);
        }
    }

    // Long words get break opportunities, and only they; nothing else of the text changes.
    void breakableText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("breaks");
        QTest::newRow("short words") << "Cannot retrieve repository metadata (repomd.xml)" << 0;
        QTest::newRow("long address, broken at its slashes")
            << "Cannot open file:///var/tmp/orvo/sandbox/repositories/updates-testing/repodata/repomd.xml now" << 0;
        QTest::newRow("long run") << "x" + QString(130, 'a') + " y" << 2;
        QTest::newRow("long run ending a word") << "/" + QString(60, 'b') << 0;
        QTest::newRow("runs apart") << QString(50, 'c') + "-" + QString(50, 'd') + "_" + QString(20, 'e') << 1;
    }

    void breakableText()
    {
        QFETCH(QString, text);
        QFETCH(int, breaks);
        const QString broken = BreakableText::of(text);
        QCOMPARE(broken.count(QChar(0x200b)), breaks);
        QCOMPARE(QString(broken).remove(QChar(0x200b)), text);
        for (const QString& piece : broken.split(QRegularExpression("[\\s\\x{200b}]|(?<=[/-])")))
            QVERIFY(piece.size() <= 60);
    }

    void longTextDialogs_data()
    {
        QTest::addColumn<int>("kind"); // text, error, confirm
        QTest::addColumn<QString>("press");
        QTest::addColumn<int>("result");
        QTest::newRow("text") << 0 << "Close" << int(QDialog::Accepted);
        QTest::newRow("error") << 1 << "Close" << int(QDialog::Accepted);
        QTest::newRow("confirm, reject") << 2 << "Cancel" << int(QDialog::Rejected);
    }

    void longTextDialogs()
    {
        QFETCH(int, kind);
        QFETCH(QString, press);
        const QString text = QStringLiteral("Install  foo  <b>1.0-1</b> &amp;\n").repeated(300) + QString(300, 'x');
        TextDialog* textDialog = kind == 0 ? new TextDialog : nullptr;
        std::unique_ptr<QDialog> dialog(textDialog ? textDialog
                                        : kind == 1 ? static_cast<QDialog*>(new ScrollableErrorDialog(text))
                                        : new ScrollableConfirmDialog(text, "OK", "Cancel"));
        if (textDialog) {
            textDialog->setText(text);
            QVERIFY(textDialog->editor()->isReadOnly());
        }
        QCOMPARE(textDialog ? textDialog->editor()->toPlainText()
                            : qobject_cast<QLabel*>(dialog->findChild<HScrollArea*>()->widget())->text(), text);
        QCOMPARE(dialog->sizeHint().boundedTo(screenLimit()), dialog->sizeHint());
        dialog->show();
        dialog->setResult(-1);
        for (QPushButton* button : dialog->findChildren<QPushButton*>()) {
            if (button->text() == press)
                button->click();
        }
        QTEST(dialog->result(), "result");
        QVERIFY(!dialog->isVisible());
    }

    void passwordMasks_data()
    {
        QTest::addColumn<QString>("real");
        QTest::addColumn<QString>("lineShown");
        QTest::addColumn<QString>("textShown");
        const QString plain = QStringLiteral("http://mirror.example.com/fedora/$releasever/");
        QTest::newRow("no credentials") << plain << plain << plain;
        // The line edit masks the first shape only, the text edit every one.
        QTest::newRow("two shapes") << larderUrl + ' ' + rhelUrl
                                    << larderShown + ' ' + rhelUrl
                                    << larderShown + ' ' + rhelShown;
        QTest::newRow("two shapes, path shape first") << rhelUrl + ' ' + larderUrl
                                                      << rhelShown + ' ' + larderUrl
                                                      << rhelShown + ' ' + larderShown;
    }

    void passwordMasks()
    {
        QFETCH(QString, real);
        QFETCH(QString, lineShown);
        QFETCH(QString, textShown);
        PasswdLineEdit line(Repo::Larder::oneUrlRegExp());
        line.setRealText(real);
        QCOMPARE(line.realText(), real);
        QCOMPARE(line.text(), masked(lineShown, &line));
        // Every line of the text edit is masked.
        PasswdTextEdit text(Repo::Larder::urlsRegExp(), 5, 60);
        const QString lines = real + '\n' + real + '\n';
        text.setRealPlainText(lines);
        QCOMPARE(text.realPlainText(), lines);
        QCOMPARE(text.toPlainText(), masked(textShown + '\n' + textShown + '\n', &text));
    }

    // Keys and clicks on the shown text act on the real text at the same place.
    void lineEditEditing()
    {
        PasswdLineEdit edit(Repo::Larder::oneUrlRegExp());
        edit.resize(600, edit.sizeHint().height());
        edit.show();
        QVERIFY(QTest::qWaitForWindowExposed(&edit));
        QSignalSpy changed(&edit, &PasswdLineEdit::realTextChanged);
        QTest::keyClicks(&edit, larderUrl);
        QCOMPARE(edit.realText(), larderUrl);
        QCOMPARE(edit.text(), masked(larderShown, &edit));
        QCOMPARE(changed.count(), larderUrl.size());
        // The password stays masked only while the text has the shape.
        for (int i = 0; i < 5; ++i)
            QTest::keyClick(&edit, Qt::Key_Backspace);
        QCOMPARE(edit.realText(), QStringLiteral("http://host/larder?user=alice&pass=s3cret&path="));
        QCOMPARE(edit.text(), masked(QStringLiteral("http://host/larder?user=alice&pass=******&path="), &edit));
        QTest::keyClick(&edit, Qt::Key_Backspace);
        QCOMPARE(edit.text(), edit.realText());
        QTest::keyClicks(&edit, QStringLiteral("="));
        for (int i = 0; i < 9; ++i)
            QTest::keyClick(&edit, Qt::Key_Left);
        QTest::keyClick(&edit, Qt::Key_Delete);
        QTest::keyClicks(&edit, QStringLiteral("XY"));
        QCOMPARE(edit.realText(), QStringLiteral("http://host/larder?user=alice&pass=s3cXYet&path="));
        QCOMPARE(edit.cursorPosition(), edit.realText().indexOf(QLatin1String("et&path")));
        QCOMPARE(edit.text(), masked(QStringLiteral("http://host/larder?user=alice&pass=*******&path="), &edit));
        // Narrow and scrolled to its end, the field still edits where it is clicked.
        const QString longUrl = QStringLiteral("http://host/") + QString(200, QLatin1Char('a'))
                                + QStringLiteral("/larder?u=n&p=pw&path=x");
        edit.resize(120, edit.height());
        edit.setRealText(longUrl);
        QTest::qWait(20); // painted, so scrolled to the cursor
        QTest::mouseClick(&edit, Qt::LeftButton, Qt::NoModifier, QPoint(60, edit.height() / 2));
        const int clicked = edit.cursorPosition();
        QVERIFY(clicked > 150);
        QTest::keyClicks(&edit, QStringLiteral("Z"));
        QCOMPARE(edit.realText(), QString(longUrl).insert(clicked, QLatin1Char('Z')));
    }

    void textEditEditing()
    {
        PasswdTextEdit edit(Repo::Larder::urlsRegExp(), 5, 60);
        edit.show();
        QVERIFY(QTest::qWaitForWindowExposed(&edit));
        QSignalSpy changed(&edit, &PasswdTextEdit::realTextChanged);
        QTest::keyClicks(&edit, rhelUrl);
        QTest::keyClick(&edit, Qt::Key_Return);
        QTest::keyClicks(&edit, larderUrl);
        QCOMPARE(edit.realPlainText(), rhelUrl + '\n' + larderUrl);
        QCOMPARE(edit.toPlainText(), masked(rhelShown + '\n' + larderShown, &edit));
        QCOMPARE(changed.count(), rhelUrl.size() + 1 + larderUrl.size());
        // Into the first line's password, from the keyboard.
        QTest::keyClick(&edit, Qt::Key_Up);
        QTest::keyClick(&edit, Qt::Key_Home);
        const int password = rhelUrl.indexOf(QLatin1String("p=pw")) + 2;
        for (int i = 0; i < password + 1; ++i)
            QTest::keyClick(&edit, Qt::Key_Right);
        QTest::keyClick(&edit, Qt::Key_Backspace);
        QTest::keyClicks(&edit, QStringLiteral("longer"));
        const QString first = QString(rhelUrl).replace(QLatin1String("p=pw"), QLatin1String("p=longerw"));
        QCOMPARE(edit.realPlainText(), first + '\n' + larderUrl);
        const QString firstShown = QString(rhelShown).replace(QLatin1String("p=**"), QLatin1String("p=*******"));
        QCOMPARE(edit.toPlainText(), masked(firstShown + '\n' + larderShown, &edit));
        QCOMPARE(edit.textCursor().position(), password + 6);
    }

    // Text composed in an input method is committed without key presses; the clipboard
    // gets what is shown.
    void inputMethodReachesRealText()
    {
        PasswdLineEdit line(Repo::Larder::oneUrlRegExp());
        PasswdTextEdit text(Repo::Larder::urlsRegExp(), 5, 60);
        const std::tuple<QWidget*, std::function<QString()>, std::function<QString()>> fields[] = {
            {&line, [&] { return line.realText(); }, [&] { return line.text(); }},
            {&text, [&] { return text.realPlainText(); }, [&] { return text.toPlainText(); }}};
        for (const auto& [field, real, shown] : fields) {
            field->show();
            QVERIFY(QTest::qWaitForWindowExposed(field));
            QTest::keyClicks(field, QStringLiteral("http://host/larder?user=alice&pass="));
            QInputMethodEvent composing(QStringLiteral("s3c"), {});
            QCoreApplication::sendEvent(field, &composing);
            QInputMethodEvent committed;
            committed.setCommitString(QStringLiteral("s3cr"));
            QCoreApplication::sendEvent(field, &committed);
            QTest::keyClicks(field, QStringLiteral("et&path=repo/"));
            QCOMPARE(real(), larderUrl);
            QCOMPARE(shown(), masked(larderShown, field));
            // Neither copying nor cutting puts the password on the clipboard.
            QGuiApplication::clipboard()->clear();
            QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
            QTest::keyClick(field, Qt::Key_C, Qt::ControlModifier);
            QCOMPARE(QGuiApplication::clipboard()->text(), shown());
            QTest::keyClick(field, Qt::Key_X, Qt::ControlModifier);
            QCOMPARE(QGuiApplication::clipboard()->text(), masked(larderShown, field));
            QCOMPARE(real(), QString());
        }
    }

    // The plain fields show that the check finds a menu where there is one.
    void rightClickOpensNothing()
    {
        QLineEdit plainLine;
        QTextEdit plainText;
        PasswdLineEdit line(Repo::Larder::oneUrlRegExp());
        PasswdTextEdit text(Repo::Larder::urlsRegExp());
        line.setRealText(larderUrl);
        text.setRealPlainText(larderUrl);
        const std::tuple<QWidget*, QWidget*, bool> fields[] = {{&plainLine, &plainLine, true},
            {&plainText, plainText.viewport(), true}, {&line, &line, false}, {&text, text.viewport(), false}};
        for (const auto& [field, target, opens] : fields) {
            field->show();
            QVERIFY(QTest::qWaitForWindowExposed(field));
            QCOMPARE(rightClickOpensPopup(target), opens);
        }
        QCOMPARE(line.realText(), larderUrl);
        QCOMPARE(text.realPlainText(), larderUrl);
    }

    // Resizing to contents shows every cell whole on one line, a stretched last column
    // growing the window as needed.
    void tableColumnsFitText()
    {
        const QStringList texts = {QStringLiteral("orvo-updates-testing"),
            QStringLiteral("Orvo Sandbox Updates $releasever - $basearch, a long description")};
        QStandardItemModel model(1, 2);
        for (int column = 0; column < 2; ++column)
            model.setItem(0, column, new QStandardItem(texts[column]));
        QWidget window;
        auto* view = new HTableView(QStyleOptionViewItem::Top, 3, 3, &window);
        view->setItemDelegate(new HItemDelegate(view));
        view->setModel(&model);
        view->horizontalHeader()->setStretchLastSection(true);
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(view);
        window.resize(120, 120);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        view->resizeColumnsToContents();
        for (int column = 0; column < 2; ++column)
            QVERIFY2(view->columnWidth(column) > view->fontMetrics().horizontalAdvance(texts[column]),
                     qPrintable(texts[column]));
        QVERIFY(view->viewport()->width() >= view->columnViewportPosition(1) + view->columnWidth(1));
    }
};

QTEST_MAIN(TestWidgets)
#include "tst_widgets.moc"
