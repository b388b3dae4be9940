#include "repo/RepoLarder.h"
#include "widgets/Colors.h"
#include "widgets/Fonts.h"
#include "widgets/HDialog.h"
#include "widgets/HFrameLabel.h"
#include "widgets/HMenu.h"
#include "widgets/HScrollArea.h"
#include "widgets/HTextEdit.h"
#include "widgets/ModalAnswer.h"
#include "widgets/PasswdLineEdit.h"
#include "widgets/PasswdTextEdit.h"
#include "widgets/ScrollableConfirmDialog.h"
#include "widgets/ScrollableErrorDialog.h"
#include "widgets/TextDialog.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QFontInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStyle>
#include <QTextBlock>
#include <QTimer>
#include <QToolTip>
#include <QVBoxLayout>
#include <QtTest>

#include <functional>

namespace {

const QString larderUrl = QStringLiteral("http://host/larder?user=alice&pass=s3cret&path=repo/");
const QString larderShown = QStringLiteral("http://host/larder?user=alice&pass=******&path=repo/");
const QString rhelUrl = QStringLiteral("https://host/rhel/u=bob/p=pw/os/x86_64/");
const QString rhelShown = QStringLiteral("https://host/rhel/u=bob/p=**/os/x86_64/");

// '*' in the expected texts stands for the style's password character.
QString withPasswordChar(QString text, const QWidget* widget)
{
    const QChar mask(widget->style()->styleHint(QStyle::SH_LineEdit_PasswordCharacter, nullptr,
                                                widget));
    return text.replace(QLatin1Char('*'), mask);
}

QSize screenLimit()
{
    const QSize size = QGuiApplication::primaryScreen()->geometry().size();
    return QSize(size.width() * 9 / 10, size.height() * 9 / 10);
}

// A widget whose size hint is whatever the test says.
class Sized final : public QWidget
{
public:
    explicit Sized(const QSize& hint) : hint_(hint) {}
    QSize sizeHint() const override { return hint_; }

private:
    QSize hint_;
};

// Installs an answer for modal dialogs for the life of the object.
class Answering final
{
public:
    explicit Answering(ModalAnswer::Answerer answerer) { ModalAnswer::install(std::move(answerer)); }
    ~Answering() { ModalAnswer::clear(); }
};

// Whether a right click on the target opens any pop-up; one that opens is closed.
bool rightClickOpensPopup(QWidget* target)
{
    bool opened = false;
    QTimer closer;
    closer.setInterval(5);
    QObject::connect(&closer, &QTimer::timeout, [&] {
        if (QWidget* popup = QApplication::activePopupWidget()) {
            opened = true;
            popup->close();
        }
    });
    closer.start();
    const QPoint pos(5, 5);
    QTest::mouseClick(target, Qt::RightButton, Qt::NoModifier, pos);
    // As the platform sends it after a right click.
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, target->mapToGlobal(pos));
    QCoreApplication::sendEvent(target, &event);
    QTest::qWait(30);
    closer.stop();
    return opened;
}

} // namespace

class TestWidgets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void windowPalettes_data();
    void windowPalettes();
    void requiredPalette();
    void fonts();
    void fixedFont();

    void dialogIgnoresReturn();
    void frameLabel();
    void menuToolTips_data();
    void menuToolTips();
    void menuToolTipFromSubmenu();

    void textEditSizeHint_data();
    void textEditSizeHint();
    void scrollAreaSizeHint_data();
    void scrollAreaSizeHint();
    void appendCompact();
    void editingFinished();

    void textDialog();
    void errorDialog();
    void confirmDialog_data();
    void confirmDialog();

    void lineEditMasks_data();
    void lineEditMasks();
    void lineEditTyping();
    void lineEditMouse();
    void lineEditCopyShowsMask();
    void textEditMasks();
    void textEditTyping();
    void rightClickOpensNothing();
};

void TestWidgets::windowPalettes_data()
{
    QTest::addColumn<std::function<QPalette(const QPalette&)>>("make");
    QTest::addColumn<QString>("background");
    QTest::addColumn<QColor>("text");

    // Grey values 150, 215 and 191: all light enough for black text.
    QTest::newRow("error") << std::function<QPalette(const QPalette&)>(Colors::makeError)
                           << QStringLiteral("#ff6060") << QColor(Qt::black);
    QTest::newRow("warning") << std::function<QPalette(const QPalette&)>(Colors::makeWarning)
                             << QStringLiteral("yellow") << QColor(Qt::black);
    QTest::newRow("ok") << std::function<QPalette(const QPalette&)>(Colors::makeOK)
                        << QStringLiteral("lightgreen") << QColor(Qt::black);
    const auto window = [](const QString& name) {
        return std::function<QPalette(const QPalette&)>(
            [name](const QPalette& p) { return Colors::makeWindow(p, name); });
    };
    QTest::newRow("navy") << window("navy") << QStringLiteral("navy") << QColor(Qt::white);
    QTest::newRow("grey 123") << window("#7b7b7b") << QStringLiteral("#7b7b7b") << QColor(Qt::white);
    QTest::newRow("grey 124") << window("#7c7c7c") << QStringLiteral("#7c7c7c") << QColor(Qt::black);
}

void TestWidgets::windowPalettes()
{
    QFETCH(std::function<QPalette(const QPalette&)>, make);
    QFETCH(QString, background);
    QFETCH(QColor, text);

    QPalette original;
    original.setColor(QPalette::WindowText, Qt::darkGreen);
    const QPalette made = make(original);
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QCOMPARE(made.color(group, QPalette::Window), QColor(background));
        QCOMPARE(made.color(group, QPalette::WindowText), text);
    }
    QCOMPARE(made.color(QPalette::Base), original.color(QPalette::Base));
    QCOMPARE(original.color(QPalette::WindowText), QColor(Qt::darkGreen));
}

void TestWidgets::requiredPalette()
{
    QPalette original;
    original.setColor(QPalette::Base, Qt::white);
    const QPalette made = Colors::makeRequired(original);
    QCOMPARE(made.color(QPalette::Active, QPalette::Base), QColor(Colors::requiredBg()));
    QCOMPARE(made.color(QPalette::Inactive, QPalette::Base), QColor(Colors::requiredBg()));
    QCOMPARE(made.color(QPalette::Disabled, QPalette::Base), QColor(Qt::white));
    QCOMPARE(made.color(QPalette::Window), original.color(QPalette::Window));
}

void TestWidgets::fonts()
{
    QFont points;
    points.setPointSize(11);
    points.setFixedPitch(true);
    const QFont header = Fonts::makeHeader(points);
    QCOMPARE(header.pointSize(), 16);
    QVERIFY(header.bold());
    QVERIFY(!header.fixedPitch());
    QCOMPARE(header.styleHint(), QFont::SansSerif);

    QFont pixels;
    pixels.setPixelSize(13);
    QCOMPARE(Fonts::makeHeader(pixels).pixelSize(), 19);

    QVERIFY(Fonts::makeBold(points).bold());
    QCOMPARE(Fonts::makeBold(points).pointSize(), 11);
}

void TestWidgets::fixedFont()
{
    const QFont fixed = Fonts::makeFixed(QFont());
    QVERIFY(fixed.fixedPitch());
    const QStringList families{"Bitstream Vera Sans Mono", "DejaVu Sans Mono", "Monospace",
                               "Courier"};
    QVERIFY(families.contains(fixed.family()));
    // The family kept is installed under its own name, unless none of them is, and
    // every family before it is not.
    const QString resolved = QFontInfo(fixed).family();
    if (fixed.family() != families.last())
        QCOMPARE(resolved, fixed.family());
    for (const QString& family : families) {
        if (family == fixed.family())
            break;
        QFont tried;
        tried.setFamily(family);
        QVERIFY2(QFontInfo(tried).family() != family, qPrintable(family));
    }
}

void TestWidgets::dialogIgnoresReturn()
{
    for (const bool refined : {false, true}) {
        QDialog* dialog = refined ? new HDialog : new QDialog;
        auto* edit = new QLineEdit(dialog);
        auto* ok = new QPushButton(QStringLiteral("OK"), dialog);
        ok->setDefault(true);
        QObject::connect(ok, &QPushButton::clicked, dialog, &QDialog::accept);
        auto* layout = new QVBoxLayout(dialog);
        layout->addWidget(edit);
        layout->addWidget(ok);
        QSignalSpy clicked(ok, &QPushButton::clicked);
        dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog));
        edit->setFocus();

        // Ignored by the line edit, the key goes on to the dialog.
        QTest::keyClick(edit, Qt::Key_Return);
        QTest::keyClick(edit, Qt::Key_Enter);
        QCOMPARE(clicked.count(), refined ? 0 : 1);
        QCOMPARE(dialog->isVisible(), refined);
        if (refined) {
            QCOMPARE(dialog->result(), 0);
            QTest::keyClick(edit, Qt::Key_Escape);
            QVERIFY(!dialog->isVisible());
            QCOMPARE(dialog->result(), int(QDialog::Rejected));
        } else {
            QCOMPARE(dialog->result(), int(QDialog::Accepted));
        }
        delete dialog;
    }
}

void TestWidgets::frameLabel()
{
    QWidget window;
    auto* label = new HFrameLabel(&window);
    const QColor normal = label->palette().color(QPalette::Window);
    QVERIFY(normal != QColor(Colors::warningBg()));
    QCOMPARE(label->frameShape(), QFrame::NoFrame);
    QVERIFY(label->autoFillBackground());

    // Remembered while there is nothing to say.
    label->setPalette(Colors::makeWarning(label->palette()));
    QCOMPARE(label->palette().color(QPalette::Window), normal);
    QCOMPARE(label->frameShape(), QFrame::NoFrame);

    label->setText(QStringLiteral("3 unlisted actions"));
    QCOMPARE(label->text(), QStringLiteral("3 unlisted actions"));
    QCOMPARE(label->frameShape(), QFrame::StyledPanel);
    QCOMPARE(label->frameShadow(), QFrame::Plain);
    QCOMPARE(label->palette().color(QPalette::Window), QColor(Colors::warningBg()));

    label->setText(QString());
    QCOMPARE(label->frameShape(), QFrame::NoFrame);
    QCOMPARE(label->palette().color(QPalette::Window), normal);

    label->setText(QStringLiteral("again"));
    QCOMPARE(label->palette().color(QPalette::Window), QColor(Colors::warningBg()));
    // A new palette shows at once while there is text.
    label->setPalette(Colors::makeError(label->palette()));
    QCOMPARE(label->palette().color(QPalette::Window), QColor(Colors::errorBg()));

    HFrameLabel withText(QStringLiteral("text"));
    QCOMPARE(withText.frameShape(), QFrame::StyledPanel);
    QCOMPARE(withText.text(), QStringLiteral("text"));
}

void TestWidgets::menuToolTips_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("toolTip");
    QTest::addColumn<bool>("shown");

    QTest::newRow("says more") << "&Refresh" << "Refresh the list of packages" << true;
    QTest::newRow("same as the text") << "Refresh" << "Refresh" << false;
    QTest::newRow("same but for & and ...") << "&Repository Editor..." << "Repository Editor"
                                              << false;
    QTest::newRow("none set") << "&Quit" << QString() << false;
}

void TestWidgets::menuToolTips()
{
    QFETCH(QString, text);
    QFETCH(QString, toolTip);
    QFETCH(bool, shown);

    HMenu menu(QStringLiteral("&File"), nullptr);
    QAction* action = menu.addAction(text);
    if (!toolTip.isNull())
        action->setToolTip(toolTip);
    menu.popup(QPoint(50, 50));
    QVERIFY(QTest::qWaitForWindowExposed(&menu));
    menu.setActiveAction(action);

    QToolTip::hideText();
    const QPoint pos = menu.actionGeometry(action).center();
    QHelpEvent event(QEvent::ToolTip, pos, menu.mapToGlobal(pos));
    QCoreApplication::sendEvent(&menu, &event);
    QCOMPARE(QToolTip::isVisible(), shown);
    if (shown)
        QCOMPARE(QToolTip::text(), toolTip);
    QToolTip::hideText();
    menu.close();
}

void TestWidgets::menuToolTipFromSubmenu()
{
    HMenu menu(QStringLiteral("&Edit"), nullptr);
    QAction* plain = menu.addAction(QStringLiteral("Plain"));
    plain->setToolTip(QStringLiteral("The outer item"));
    QMenu* sub = menu.addMenu(QStringLiteral("&More"));
    QAction* inner = sub->addAction(QStringLiteral("&Inner"));
    inner->setToolTip(QStringLiteral("The inner item says more"));

    menu.popup(QPoint(50, 50));
    QVERIFY(QTest::qWaitForWindowExposed(&menu));
    menu.setActiveAction(sub->menuAction());
    sub->popup(QPoint(200, 50));
    QVERIFY(QTest::qWaitForWindowExposed(sub));
    sub->setActiveAction(inner);

    QToolTip::hideText();
    QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), menu.mapToGlobal(QPoint(5, 5)));
    QCoreApplication::sendEvent(&menu, &event);
    QVERIFY(QToolTip::isVisible());
    QCOMPARE(QToolTip::text(), inner->toolTip());
    QToolTip::hideText();
    sub->close();
    menu.close();
}

void TestWidgets::textEditSizeHint_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");

    QTest::newRow("small") << 10 << 3;
    QTest::newRow("log window") << 100 << 24;
    QTest::newRow("beyond the screen") << 2000 << 500;
    QTest::newRow("width left to the base") << -1 << 4;
    QTest::newRow("height left to the base") << 20 << -1;
}

void TestWidgets::textEditSizeHint()
{
    QFETCH(int, columns);
    QFETCH(int, rows);

    HTextEdit edit(columns, rows);
    QTextEdit plain;
    const QFontMetrics metrics = edit.fontMetrics();
    const int frame = 2 * edit.frameWidth();
    const QSize hint = edit.sizeHint();
    const int width = columns < 0 ? plain.sizeHint().width()
                                  : frame + columns * metrics.horizontalAdvance(QLatin1Char('n'));
    const int height = rows < 0 ? plain.sizeHint().height() : frame + rows * metrics.lineSpacing();
    QCOMPARE(hint, QSize(width, height).boundedTo(screenLimit()));
    QVERIFY(hint.width() <= screenLimit().width() && hint.height() <= screenLimit().height());

    // Measured in the font in use when asked.
    if (columns > 0 && columns < 100) {
        QFont big = edit.font();
        big.setPointSize(big.pointSize() * 2);
        edit.setFont(big);
        QVERIFY(edit.sizeHint().width() > hint.width());
    }
}

void TestWidgets::scrollAreaSizeHint_data()
{
    QTest::addColumn<QSize>("content");
    QTest::addColumn<QSize>("maximum");  // in pixels, or invalid
    QTest::addColumn<QSize>("characters"); // columns and rows, or invalid

    QTest::newRow("fits") << QSize(200, 100) << QSize() << QSize();
    QTest::newRow("beyond the screen") << QSize(5000, 4000) << QSize() << QSize();
    QTest::newRow("beyond the maximum") << QSize(500, 300) << QSize(300, 200) << QSize();
    QTest::newRow("beyond the characters") << QSize(2000, 2000) << QSize() << QSize(20, 5);
    QTest::newRow("unlimited columns") << QSize(600, 2000) << QSize() << QSize(-1, 5);
}

void TestWidgets::scrollAreaSizeHint()
{
    QFETCH(QSize, content);
    QFETCH(QSize, maximum);
    QFETCH(QSize, characters);

    HScrollArea* area = maximum.isValid()       ? new HScrollArea(maximum)
                        : characters.isEmpty() ? new HScrollArea
                                               : new HScrollArea(characters.width(),
                                                                 characters.height());
    QScopedPointer<HScrollArea> owner(area);
    const QSize empty = area->sizeHint();
    QCOMPARE(empty, QScrollArea().sizeHint());

    area->setWidget(new Sized(content));
    const QSize hint = area->sizeHint();
    const int frame = 2 * area->frameWidth();
    QSize expected(content.width() + frame + area->verticalScrollBar()->sizeHint().width(),
                   content.height() + frame + area->horizontalScrollBar()->sizeHint().height());
    if (area->style()->styleHint(QStyle::SH_ScrollView_FrameOnlyAroundContents, nullptr, area)) {
        const int extra = 2 * area->style()->pixelMetric(QStyle::PM_DefaultFrameWidth);
        expected += QSize(extra, extra);
    }
    if (maximum.isValid())
        expected = expected.boundedTo(maximum);
    if (!characters.isEmpty()) {
        const QFontMetrics metrics = area->fontMetrics();
        if (characters.width() >= 0)
            expected.setWidth(qMin(expected.width(),
                                   characters.width() * metrics.horizontalAdvance(QLatin1Char('n'))));
        expected.setHeight(qMin(expected.height(), characters.height() * metrics.height()));
    }
    QCOMPARE(hint, expected.boundedTo(screenLimit()));

    area->forceResize();
    QCOMPARE(area->size(), hint);
}

void TestWidgets::appendCompact()
{
    HTextEdit edit;
    edit.append(QStringLiteral("<h2>Spaced</h2>"));
    // A heading brings its own margins; the compact form takes them away.
    QVERIFY(edit.document()->lastBlock().blockFormat().topMargin() > 0);

    edit.clear();
    const QStringList lines{"<h2><font color=\"blue\">Applying: OK</font></h2>",
                            "<font color=\"green\">Installing&#x0020;foo</font>", "<font></font>",
                            "last"};
    for (const QString& line : lines)
        edit.appendCompact(line);
    QCOMPARE(edit.document()->blockCount(), lines.size());
    for (QTextBlock block = edit.document()->begin(); block.isValid(); block = block.next()) {
        QCOMPARE(block.blockFormat().topMargin(), 0.0);
        QCOMPARE(block.blockFormat().bottomMargin(), 0.0);
    }
    QCOMPARE(edit.document()->begin().text(), QStringLiteral("Applying: OK"));
    QCOMPARE(edit.document()->lastBlock().text(), QStringLiteral("last"));
}

void TestWidgets::editingFinished()
{
    HTextEdit edit;
    QSignalSpy finished(&edit, &HTextEdit::editingFinished);

    QFocusEvent tab(QEvent::FocusOut, Qt::TabFocusReason);
    QCoreApplication::sendEvent(&edit, &tab);
    QCOMPARE(finished.count(), 1);

    QFocusEvent window(QEvent::FocusOut, Qt::ActiveWindowFocusReason);
    QCoreApplication::sendEvent(&edit, &window);
    QCOMPARE(finished.count(), 2);

    QFocusEvent popup(QEvent::FocusOut, Qt::PopupFocusReason);
    QCoreApplication::sendEvent(&edit, &popup);
    QCOMPARE(finished.count(), 2);

    // The editor's own pop-up open: no end of editing.
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    QMenu* own = new QMenu(&edit);
    own->addAction(QStringLiteral("Item"));
    own->popup(edit.mapToGlobal(QPoint(5, 5)));
    QVERIFY(QTest::qWaitForWindowExposed(own));
    QCOMPARE(QApplication::activePopupWidget(), own);
    QFocusEvent other(QEvent::FocusOut, Qt::OtherFocusReason);
    QCoreApplication::sendEvent(&edit, &other);
    QCOMPARE(finished.count(), 2);
    own->close();
    // The toolkit's context menu hangs from the viewport.
    QMenu* context = new QMenu(edit.viewport());
    context->addAction(QStringLiteral("Copy"));
    context->popup(edit.mapToGlobal(QPoint(5, 5)));
    QVERIFY(QTest::qWaitForWindowExposed(context));
    QCoreApplication::sendEvent(&edit, &other);
    QCOMPARE(finished.count(), 2);
    context->close();

    // Someone else's pop-up is a real end.
    QMenu foreign;
    foreign.addAction(QStringLiteral("Item"));
    foreign.popup(QPoint(10, 10));
    QVERIFY(QTest::qWaitForWindowExposed(&foreign));
    QCoreApplication::sendEvent(&edit, &other);
    QCOMPARE(finished.count(), 3);
    foreign.close();
}

void TestWidgets::textDialog()
{
    TextDialog dialog;
    const QString text = QStringLiteral("/usr/bin/a <b> &amp;\n") + QString(300, QLatin1Char('x'));
    dialog.setText(text);
    QCOMPARE(dialog.editor()->toPlainText(), text);
    QVERIFY(dialog.editor()->isReadOnly());
    QCOMPARE(dialog.editor()->lineWrapMode(), QTextEdit::NoWrap);
    QVERIFY(dialog.editor()->sizeHint().width() <= screenLimit().width());

    QString seen;
    bool visible = false;
    Answering answering([&](QDialog& shown) {
        visible = shown.isVisible() && shown.isModal();
        seen = static_cast<TextDialog&>(shown).editor()->toPlainText();
        shown.findChild<QPushButton*>()->click();
        return shown.result();
    });
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QCOMPARE(seen, text);
    QVERIFY(visible);
    QVERIFY(!dialog.isVisible());
}

void TestWidgets::errorDialog()
{
    const QString text = QStringLiteral("Unable to apply changes\n").repeated(200);
    ScrollableErrorDialog dialog(text);
    auto* area = dialog.findChild<HScrollArea*>();
    QVERIFY(area);
    QCOMPARE(area->frameShape(), QFrame::NoFrame);
    auto* label = qobject_cast<QLabel*>(area->widget());
    QVERIFY(label);
    QCOMPARE(label->text(), text);
    QVERIFY(dialog.sizeHint().height() <= screenLimit().height());

    Answering answering([](QDialog& shown) {
        const auto buttons = shown.findChildren<QPushButton*>();
        if (buttons.size() == 1 && buttons.first()->text() == QLatin1String("Close"))
            buttons.first()->click();
        return shown.result();
    });
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
}

void TestWidgets::confirmDialog_data()
{
    QTest::addColumn<QString>("press");
    QTest::addColumn<int>("result");

    QTest::newRow("accept") << "OK" << int(QDialog::Accepted);
    QTest::newRow("reject") << "Cancel" << int(QDialog::Rejected);
}

void TestWidgets::confirmDialog()
{
    QFETCH(QString, press);
    QFETCH(int, result);

    const QString text = QStringLiteral("Install  foo  1.0-1  x86_64\n").repeated(300);
    ScrollableConfirmDialog dialog(text, QStringLiteral("OK"), QStringLiteral("Cancel"));
    dialog.setWindowTitle(QStringLiteral("Orvo Confirm"));

    QStringList labels;
    Answering answering([&](QDialog& shown) {
        for (QPushButton* button : shown.findChildren<QPushButton*>()) {
            labels << button->text();
            if (button->text() == press)
                button->click();
        }
        return shown.result();
    });
    QCOMPARE(dialog.exec(), result);
    labels.sort();
    QCOMPARE(labels, (QStringList{"Cancel", "OK"}));
    auto* area = dialog.findChild<HScrollArea*>();
    QVERIFY(area);
    QCOMPARE(qobject_cast<QLabel*>(area->widget())->text(), text);
    QVERIFY(dialog.sizeHint().height() <= screenLimit().height());
}

void TestWidgets::lineEditMasks_data()
{
    QTest::addColumn<QString>("real");
    QTest::addColumn<QString>("shown");

    QTest::newRow("no credentials")
        << "http://mirror.example.com/fedora/$releasever/" << "http://mirror.example.com/fedora/$releasever/";
    QTest::newRow("larder") << larderUrl << larderShown;
    QTest::newRow("rhel") << rhelUrl << rhelShown;
    QTest::newRow("blank credentials")
        << "http://h/larder?user=&pass=&path=r/" << "http://h/larder?user=&pass=&path=r/";
    QTest::newRow("encoded password")
        << "http://h/larder?u=a%40b&p=x%3ay&path=r" << "http://h/larder?u=a%40b&p=*****&path=r";
    // One whole-text match masks one shape only.
    QTest::newRow("two shapes")
        << larderUrl + QLatin1Char(' ') + rhelUrl << larderUrl + QLatin1Char(' ') + rhelShown;
    QTest::newRow("empty") << QString() << QString();
}

void TestWidgets::lineEditMasks()
{
    QFETCH(QString, real);
    QFETCH(QString, shown);

    PasswdLineEdit edit(Repo::Larder::oneUrlRegExp());
    QSignalSpy changed(&edit, &PasswdLineEdit::realTextChanged);
    edit.setRealText(real);
    QCOMPARE(edit.realText(), real);
    QCOMPARE(edit.text(), withPasswordChar(shown, &edit));
    QCOMPARE(edit.text().size(), real.size());
    if (!real.isEmpty()) {
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first().first().toString(), real);
    }
}

void TestWidgets::lineEditTyping()
{
    PasswdLineEdit edit(Repo::Larder::oneUrlRegExp());
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    QSignalSpy changed(&edit, &PasswdLineEdit::realTextChanged);

    QTest::keyClicks(&edit, larderUrl);
    QCOMPARE(edit.realText(), larderUrl);
    QCOMPARE(edit.text(), withPasswordChar(larderShown, &edit));
    QCOMPARE(changed.count(), larderUrl.size());
    QCOMPARE(edit.cursorPosition(), larderUrl.size());

    // The password stays masked only while the text has the shape.
    for (int i = 0; i < 5; ++i)
        QTest::keyClick(&edit, Qt::Key_Backspace);
    QCOMPARE(edit.realText(), QStringLiteral("http://host/larder?user=alice&pass=s3cret&path="));
    QCOMPARE(edit.text(), withPasswordChar(QStringLiteral("http://host/larder?user=alice&pass=******&path="), &edit));
    QTest::keyClick(&edit, Qt::Key_Backspace);
    QCOMPARE(edit.text(), edit.realText());

    // Cursor movement acts on the real text: edit the password in its middle.
    QTest::keyClicks(&edit, QStringLiteral("="));
    for (int i = 0; i < 9; ++i)
        QTest::keyClick(&edit, Qt::Key_Left);
    QTest::keyClick(&edit, Qt::Key_Delete);
    QTest::keyClicks(&edit, QStringLiteral("XY"));
    QCOMPARE(edit.realText(), QStringLiteral("http://host/larder?user=alice&pass=s3cXYet&path="));
    QCOMPARE(edit.cursorPosition(), edit.realText().indexOf(QLatin1String("et&path")));
    QCOMPARE(edit.text(), withPasswordChar(QStringLiteral("http://host/larder?user=alice&pass=*******&path="), &edit));

    // A selection made with the keyboard is replaced in the real text.
    QTest::keyClick(&edit, Qt::Key_Home);
    QTest::keyClick(&edit, Qt::Key_Right, Qt::ShiftModifier);
    QTest::keyClick(&edit, Qt::Key_Right, Qt::ShiftModifier);
    QTest::keyClick(&edit, Qt::Key_Right, Qt::ShiftModifier);
    QTest::keyClick(&edit, Qt::Key_Right, Qt::ShiftModifier);
    QTest::keyClicks(&edit, QStringLiteral("ftp"));
    QCOMPARE(edit.realText(), QStringLiteral("ftp://host/larder?user=alice&pass=s3cXYet&path="));
    QCOMPARE(edit.text().size(), edit.realText().size());
}

void TestWidgets::lineEditMouse()
{
    PasswdLineEdit edit(Repo::Larder::oneUrlRegExp());
    edit.resize(600, edit.sizeHint().height());
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    edit.setRealText(larderUrl);
    QCOMPARE(edit.cursorPosition(), larderUrl.size());

    // A click at the left edge puts both cursors at the start.
    QTest::mouseClick(&edit, Qt::LeftButton, Qt::NoModifier, QPoint(2, edit.height() / 2));
    QCOMPARE(edit.cursorPosition(), 0);
    QTest::keyClicks(&edit, QStringLiteral("X"));
    QCOMPARE(edit.realText(), QLatin1Char('X') + larderUrl);
    QCOMPARE(edit.cursorPosition(), 1);

    // Narrow and scrolled to its end, the field still edits where it is clicked.
    const QString longUrl = QStringLiteral("http://host/") + QString(200, QLatin1Char('a'))
                            + QStringLiteral("/larder?u=n&p=pw&path=x");
    edit.resize(120, edit.height());
    edit.setRealText(longUrl);
    edit.setFocus();
    QTest::qWait(20); // painted, so scrolled to the cursor
    QTest::mouseClick(&edit, Qt::LeftButton, Qt::NoModifier, QPoint(60, edit.height() / 2));
    const int clicked = edit.cursorPosition();
    QVERIFY(clicked > 150);
    QTest::keyClicks(&edit, QStringLiteral("Z"));
    QCOMPARE(edit.realText(), QString(longUrl).insert(clicked, QLatin1Char('Z')));
}

// The keyboard copies what is shown, never the password; cutting removes the real text.
void TestWidgets::lineEditCopyShowsMask()
{
    PasswdLineEdit edit(Repo::Larder::oneUrlRegExp());
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    edit.setRealText(larderUrl);
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();

    QTest::keyClick(&edit, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(&edit, Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(clipboard->text(), edit.text());
    QVERIFY(!clipboard->text().contains(QLatin1String("s3cret")));

    QTest::keyClick(&edit, Qt::Key_X, Qt::ControlModifier);
    QVERIFY(!clipboard->text().contains(QLatin1String("s3cret")));
    QCOMPARE(edit.realText(), QString());
    QCOMPARE(edit.text(), QString());
}

void TestWidgets::textEditMasks()
{
    PasswdTextEdit edit(Repo::Larder::urlsRegExp(), 5, 60);
    QSignalSpy changed(&edit, &PasswdTextEdit::realTextChanged);
    const QString plain = QStringLiteral("http://mirror.example.com/os/");
    const QString real = larderUrl + QLatin1Char('\n') + plain + QLatin1Char('\n') + rhelUrl
                         + QLatin1Char(' ') + larderUrl + QLatin1Char('\n');
    const QString shown = larderShown + QLatin1Char('\n') + plain + QLatin1Char('\n') + rhelShown
                          + QLatin1Char(' ') + larderShown + QLatin1Char('\n');
    edit.setRealPlainText(real);
    QCOMPARE(edit.realPlainText(), real);
    QCOMPARE(edit.toPlainText(), withPasswordChar(shown, &edit));
    QCOMPARE(changed.count(), 1);

    edit.setRealPlainText(plain);
    QCOMPARE(edit.toPlainText(), plain);
}

void TestWidgets::textEditTyping()
{
    PasswdTextEdit edit(Repo::Larder::urlsRegExp(), 5, 60);
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    QSignalSpy changed(&edit, &PasswdTextEdit::realTextChanged);

    QTest::keyClicks(&edit, rhelUrl);
    QTest::keyClick(&edit, Qt::Key_Return);
    QTest::keyClicks(&edit, larderUrl);
    QCOMPARE(edit.realPlainText(), rhelUrl + QLatin1Char('\n') + larderUrl);
    QCOMPARE(edit.toPlainText(),
             withPasswordChar(rhelShown + QLatin1Char('\n') + larderShown, &edit));
    QCOMPARE(changed.count(), rhelUrl.size() + 1 + larderUrl.size());
    QCOMPARE(edit.textCursor().position(), edit.toPlainText().size());

    // Into the first line's password, from the keyboard.
    QTest::keyClick(&edit, Qt::Key_Up);
    QTest::keyClick(&edit, Qt::Key_Home);
    const int password = rhelUrl.indexOf(QLatin1String("p=pw")) + 2;
    for (int i = 0; i < password + 1; ++i)
        QTest::keyClick(&edit, Qt::Key_Right);
    QTest::keyClick(&edit, Qt::Key_Backspace);
    QTest::keyClicks(&edit, QStringLiteral("longer"));
    QString expected = rhelUrl;
    expected.replace(QLatin1String("p=pw"), QLatin1String("p=longerw"));
    QCOMPARE(edit.realPlainText(), expected + QLatin1Char('\n') + larderUrl);
    QString expectedShown = rhelShown;
    expectedShown.replace(QLatin1String("p=**"), QLatin1String("p=*******"));
    QCOMPARE(edit.toPlainText(),
             withPasswordChar(expectedShown + QLatin1Char('\n') + larderShown, &edit));
    QCOMPARE(edit.textCursor().position(), password + 6);

    // A click puts the cursor where it is shown.
    QTest::mouseClick(edit.viewport(), Qt::LeftButton, Qt::NoModifier, QPoint(1, 3));
    QCOMPARE(edit.textCursor().position(), 0);
    QTest::keyClick(&edit, Qt::Key_Delete);
    QCOMPARE(edit.realPlainText(), expected.mid(1) + QLatin1Char('\n') + larderUrl);
    QCOMPARE(edit.toPlainText().size(), edit.realPlainText().size());
}

void TestWidgets::rightClickOpensNothing()
{
    // The check finds a menu where there is one.
    QLineEdit plainLine;
    plainLine.show();
    QVERIFY(QTest::qWaitForWindowExposed(&plainLine));
    QVERIFY(rightClickOpensPopup(&plainLine));
    QTextEdit plainText;
    plainText.show();
    QVERIFY(QTest::qWaitForWindowExposed(&plainText));
    QVERIFY(rightClickOpensPopup(plainText.viewport()));

    PasswdLineEdit line(Repo::Larder::oneUrlRegExp());
    line.setRealText(larderUrl);
    line.show();
    QVERIFY(QTest::qWaitForWindowExposed(&line));
    QVERIFY(!rightClickOpensPopup(&line));

    PasswdTextEdit text(Repo::Larder::urlsRegExp());
    text.setRealPlainText(larderUrl);
    text.show();
    QVERIFY(QTest::qWaitForWindowExposed(&text));
    QVERIFY(!rightClickOpensPopup(text.viewport()));
    QCOMPARE(text.realPlainText(), larderUrl);
    QCOMPARE(line.realText(), larderUrl);
}

QTEST_MAIN(TestWidgets)
#include "tst_widgets.moc"
