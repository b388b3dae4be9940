#include "log/LogWindow.h"

#include "log/LogEntryList.h"
#include "widgets/Colors.h"
#include "widgets/HTextEdit.h"

#include <QEventLoop>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QSpinBox>
#include <QTextDocument>
#include <QVBoxLayout>

namespace Log {

namespace {

const int maximumLevel = 10;
const int defaultLevel = 2;

} // namespace

Window::Window(EntryList& log, QWidget* mainWindow)
    : QWidget(nullptr)
    , log_(log)
    , mainWindow_(mainWindow)
{
    setWindowTitle(tr("Orvo Log"));
    auto* layout = new QVBoxLayout(this);
    text_ = new HTextEdit(100, 24, this);
    text_->setReadOnly(true);
    text_->setLineWrapMode(QTextEdit::NoWrap);
    text_->setWordWrapMode(QTextOption::NoWrap);
    text_->setTabChangesFocus(true);
    // Rich text collapses blanks and tabs, even written as character references: the
    // package manager's columns need them kept.
    text_->document()->setDefaultStyleSheet(QStringLiteral("font { white-space: pre }"));
    layout->addWidget(text_);

    auto* row = new QHBoxLayout;
    layout->addLayout(row);
    row->addWidget(new QLabel(tr("Detail level"), this));
    level_ = new QSpinBox(this);
    level_->setRange(0, maximumLevel);
    level_->setValue(defaultLevel);
    level_->setToolTip(tr("Threshold beyond which more detailed log messages are omitted.\n"
                          "Higher levels show more detail.\n"
                          "The valid range is 0 .. %1.\n"
                          "The default is %2.\n"
                          "Higher levels contain debug information.\n"
                          "This corresponds to yum's debuglevel (-d) option.")
                           .arg(maximumLevel)
                           .arg(defaultLevel));
    row->addWidget(level_);
    row->addStretch(1);
    auto* close = new QPushButton(tr("&Close"), this);
    close->setToolTip(tr("Close the Log Window"));
    row->addWidget(close);

    connect(level_, &QSpinBox::valueChanged, this, &Window::levelChanged);
    connect(close, &QPushButton::clicked, this, &QWidget::hide);
}

void Window::htmlProtect(QString& text)
{
    // The ampersand stays: an entity already in a line shows as its character.
    text.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    text.replace(QLatin1Char('>'), QLatin1String("&gt;"));
    text.replace(QLatin1Char(' '), QLatin1String("&#x0020;"));
    text.replace(QLatin1Char('\t'), QLatin1String("&#x0009;"));
}

void Window::appended()
{
    bool found = false;
    log_.lock();
    if (log_.size() > seen_) {
        found = true;
        const unsigned int level = unsigned(level_->value());
        for (int i = seen_; i < log_.size(); ++i) {
            const Entry& entry = log_.at(i);
            if (entry.level > level)
                continue;
            QString text = entry.text;
            htmlProtect(text);
            QString open;
            QString close = QStringLiteral("</font>");
            switch (entry.kind) {
            case Info:
                open = entry.level <= 9 ? QStringLiteral("<font>")
                                        : QStringLiteral("<font color=\"%1\">").arg(Colors::minor());
                break;
            case Output:
                open = QStringLiteral("<font color=\"%1\">").arg(Colors::ok());
                break;
            case Warning:
                open = QStringLiteral("<font color=\"%1\">").arg(Colors::warning());
                break;
            case Heading:
                open = QStringLiteral("<h2><font color=\"%1\">").arg(Colors::action());
                close = QStringLiteral("</font></h2>");
                break;
            default:
                open = QStringLiteral("<font color=\"%1\">").arg(Colors::error());
                break;
            }
            text_->appendCompact(open + text + close);
        }
        seen_ = int(log_.size());
    }
    log_.unlock();
    // Repaint while a long operation keeps logging, without letting a new one start.
    if (found) {
        QEventLoop loop;
        loop.processEvents(QEventLoop::ExcludeUserInputEvents);
    }
}

void Window::levelChanged(int level)
{
    Q_UNUSED(level);
    seen_ = 0;
    text_->clear();
    appended();
}

void Window::setVisible(bool visible)
{
    if (visible && !isVisible()) {
        text_->clear();
        seen_ = 0;
        appended();
        log_.lock();
        connect(&log_, &EntryList::appended, this, &Window::appended, Qt::UniqueConnection);
        text_->verticalScrollBar()->setValue(text_->verticalScrollBar()->maximum());
        log_.unlock();
        QWidget::setVisible(true);
        // Only a shown text area knows its final height.
        text_->verticalScrollBar()->setValue(text_->verticalScrollBar()->maximum());
    } else if (!visible && isVisible()) {
        QWidget::setVisible(false);
        log_.lock();
        disconnect(&log_, &EntryList::appended, this, &Window::appended);
        seen_ = 0;
        text_->clear();
        log_.unlock();
    } else {
        QWidget::setVisible(visible);
    }
}

void Window::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        event->accept();
        hide();
        return;
    }
    QWidget::keyPressEvent(event);
}

} // namespace Log
