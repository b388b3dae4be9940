#include "packagetable/PackageTableDescribeInstanceArea.h"

#include "packagetable/PackageTableDescribeDialog.h"
#include "packagetable/PackageTableDescribeInstanceRepoDialog.h"
#include "repo/YumConfIO.h"
#include "widgets/Fonts.h"
#include "widgets/TextDialog.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QFontMetrics>
#include <QGridLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTextDocument>
#include <QVBoxLayout>

#include <cmath>

namespace {

// A value beyond these bounds goes into a text view of its own, so that a description
// of thousands of lines neither slows the dialog down nor stretches it.
const int labelLines = 6;
const int labelColumns = 100;
const int viewColumns = 64;
const int viewRows = 10;

// The rows that text takes when wrapped at viewColumns, counted up to limit.
int wrappedRows(const QString& text, int limit)
{
    int rows = 0;
    qsizetype start = 0;
    while (rows < limit) {
        qsizetype end = text.indexOf(QLatin1Char('\n'), start);
        if (end < 0)
            end = text.size();
        rows += qMax<qsizetype>(1, (end - start + viewColumns - 1) / viewColumns);
        if (end == text.size())
            break;
        start = end + 1;
    }
    return qMin(rows, limit);
}

bool fitsLabel(const QString& text)
{
    int lines = 0;
    qsizetype start = 0;
    for (;;) {
        qsizetype end = text.indexOf(QLatin1Char('\n'), start);
        if (end < 0)
            end = text.size();
        if (++lines > labelLines || end - start > labelColumns)
            return false;
        if (end == text.size())
            return true;
        start = end + 1;
    }
}

QString lines(const QStringList& list)
{
    return list.join(QLatin1Char('\n'));
}

} // namespace

namespace PackageTable {
namespace Describe {
namespace Instance {

Area::Area(Dialog* dialog, QVBoxLayout* column, YumIO* yumIO, const Package::Entry& entry,
           YumConfIO* yumConfIO, bool full)
    : dialog_(dialog)
    , yumIO_(yumIO)
    , entry_(entry)
    , yumConfIO_(yumConfIO)
    , full_(full)
    , grid_(new QGridLayout(this))
{
    setFrameShape(QFrame::StyledPanel);
    grid_->setColumnStretch(1, 1);
    int row = 0;
    addHeader(row, yumIO_->getState(entry_));
    if (entry_.kind == Package::Group)
        addGroupRows(row);
    else
        addPackageRows(row);
    column->addWidget(this);
    connect(yumIO_, &YumIO::collectedExtraData, this, &Area::updateButtons);
    updateButtons();
}

Area::~Area() = default;

void Area::addPackageRows(int& row)
{
    const Package::Entry& e = entry_;
    if (full_) {
        addPair(row, tr("Kind"), yumIO_->getKind(e));
        addPair(row, tr("Version"), yumIO_->getVerRel(e));
        // Installed packages come from no repository that could be described.
        if (e.repo != QLatin1String("installed")) {
            if (QPushButton* details = addPairButton(row, tr("Repository"), yumIO_->getRepo(e), tr("Details")))
                connect(details, &QPushButton::clicked, this, &Area::handleRepo);
        } else {
            addPair(row, tr("Repository"), yumIO_->getRepo(e));
        }
        addPair(row, tr("Architecture"), yumIO_->getArch(e));
        addPair(row, tr("Size"), yumIO_->getSize(e));
        addPair(row, tr("Summary"), yumIO_->getSummary(e));
        addPair(row, tr("Description"), yumIO_->getDescription(e));
        addPair(row, tr("Group"), yumIO_->getGroup(e));
        addPair(row, tr("Vendor"), yumIO_->getVendor(e));
        addPair(row, tr("Build Time"), yumIO_->getBuildTime(e));
        addPair(row, tr("Build Host"), yumIO_->getBuildHost(e));
        addPair(row, tr("Install Time"), yumIO_->getInstallTime(e));
        const QString binaryRpm = yumIO_->getBinaryRpm(e);
        addPair(row, tr("Binary RPM"), binaryRpm);
        // The source row has always shown the binary RPM; users know it that way.
        addPair(row, tr("Source RPM"), binaryRpm);
        addPair(row, tr("License"), yumIO_->getLicense(e));
        addPair(row, tr("Packager"), yumIO_->getPackager(e));
        addPair(row, tr("URL"), yumIO_->getUrl(e));
        addPair(row, tr("Relocations"), lines(yumIO_->getRelocations(e)));
        addPair(row, tr("Provides"), lines(yumIO_->getProvides(e)));
        addPair(row, tr("Requires"), lines(yumIO_->getRequires(e)));
        addPair(row, tr("Conflicts"), lines(yumIO_->getConflicts(e)));
        addPair(row, tr("Obsoletes"), lines(yumIO_->getObsoletes(e)));
    } else {
        addPair(row, tr("Version"), yumIO_->getVerRel(e));
        addPair(row, tr("Architecture"), yumIO_->getArch(e));
        addPair(row, tr("Size"), yumIO_->getSize(e));
        addPair(row, tr("Build Time"), yumIO_->getBuildTime(e));
        addPair(row, tr("Packager"), yumIO_->getPackager(e));
    }
    files_.text = tr("Show");
    files_.button = addButton(row, tr("Files"), files_.text);
    connect(files_.button, &QPushButton::clicked, this, &Area::handleFiles);
    changeLog_.text = tr("Show");
    changeLog_.button = addButton(row, tr("Change Log"), changeLog_.text);
    connect(changeLog_.button, &QPushButton::clicked, this, &Area::handleChangeLog);
}

void Area::addGroupRows(int& row)
{
    const Package::Entry& e = entry_;
    addPair(row, tr("Kind"), yumIO_->getKind(e));
    addPair(row, tr("Required Groups"), lines(yumIO_->getRequiredGroups(e)));
    addPair(row, tr("Default MetaPkgs"), lines(yumIO_->getDefaultMetaPkgs(e)));
    addPair(row, tr("Optional MetaPkgs"), lines(yumIO_->getOptionalMetaPkgs(e)));
    addPair(row, tr("Mandatory Packages"), lines(yumIO_->getMandatoryPkgs(e)));
    addPair(row, tr("Default Packages"), lines(yumIO_->getDefaultPkgs(e)));
    addPair(row, tr("Optional Packages"), lines(yumIO_->getOptionalPkgs(e)));
    addPair(row, tr("Conditional Packages"), lines(yumIO_->getConditionalPkgs(e)));
}

void Area::addHeader(int& row, const QString& text)
{
    header_ = text;
    auto* header = new QLabel(text, this);
    header->setTextFormat(Qt::PlainText);
    header->setFont(Fonts::makeHeader(header->font()));
    grid_->addWidget(header, row++, 0, 1, 3);
}

void Area::addLabel(int row, const QString& label)
{
    auto* widget = new QLabel(tr("%1:").arg(label), this);
    widget->setTextFormat(Qt::PlainText);
    grid_->addWidget(widget, row, 0, Qt::AlignRight | Qt::AlignTop);
}

void Area::addValue(int row, const QString& value)
{
    if (fitsLabel(value)) {
        auto* label = new QLabel(value, this);
        label->setTextFormat(Qt::PlainText);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid_->addWidget(label, row, 1, Qt::AlignTop);
        return;
    }
    auto* view = new QPlainTextEdit(this);
    view->setReadOnly(true);
    view->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    view->setPlainText(value);
    const QFontMetrics metrics(view->font());
    const int frame = 2 * view->frameWidth() + 2 * int(std::ceil(view->document()->documentMargin()));
    view->setFixedHeight(wrappedRows(value, viewRows) * metrics.lineSpacing() + frame);
    view->setMinimumWidth(viewColumns * metrics.horizontalAdvance(QLatin1Char('n')) + frame
                          + view->verticalScrollBar()->sizeHint().width());
    grid_->addWidget(view, row, 1);
}

void Area::addPair(int& row, const QString& label, const QString& value)
{
    if (value.isEmpty())
        return;
    addLabel(row, label);
    addValue(row, value);
    rows_.append({ label, value, nullptr });
    ++row;
}

QPushButton* Area::addButton(int& row, const QString& label, const QString& buttonText)
{
    addLabel(row, label);
    auto* button = new QPushButton(buttonText, this);
    grid_->addWidget(button, row, 1, Qt::AlignLeft | Qt::AlignTop);
    rows_.append({ label, QString(), button });
    ++row;
    return button;
}

QPushButton* Area::addPairButton(int& row, const QString& label, const QString& value,
                                 const QString& buttonText)
{
    if (value.isEmpty())
        return nullptr;
    addLabel(row, label);
    addValue(row, value);
    auto* button = new QPushButton(buttonText, this);
    grid_->addWidget(button, row, 2, Qt::AlignTop);
    rows_.append({ label, value, button });
    ++row;
    return button;
}

QStringList Area::labels() const
{
    QStringList result;
    for (const Row& row : rows_)
        result.append(row.label);
    return result;
}

QString Area::value(const QString& label) const
{
    for (const Row& row : rows_)
        if (row.label == label)
            return row.value;
    return QString();
}

QPushButton* Area::button(const QString& label) const
{
    for (const Row& row : rows_)
        if (row.label == label)
            return row.button;
    return nullptr;
}

void Area::updateButtons()
{
    if (entry_.kind != Package::Suite && entry_.kind != Package::Ordinary)
        return;
    const bool installed = entry_.state == Package::Installed;
    updateButton(files_, installed || yumIO_->fileListsLoaded());
    updateButton(changeLog_, installed || yumIO_->otherDataLoaded());
}

void Area::updateButton(Button& button, bool loaded)
{
    button.button->setText(loaded ? button.text : tr("%1 (must load extra data)").arg(button.text));
}

bool Area::loadExtraData(bool fileLists)
{
    if (entry_.state == Package::Installed)
        return true;
    if (fileLists ? yumIO_->fileListsLoaded() : yumIO_->otherDataLoaded())
        return true;
    dialog_->setReady(false);
    const bool loaded = fileLists ? yumIO_->collectFileLists() : yumIO_->collectOtherData();
    dialog_->setReady(true);
    return loaded;
}

void Area::handleRepo()
{
    if (!yumConfIO_)
        return;
    for (const Repo::Entry& repo : yumConfIO_->repos()) {
        if (repo.id == entry_.repo) {
            if (!repoDialog_)
                repoDialog_ = new RepoDialog(yumIO_, this);
            Repo::Entry shown = repo;
            shown.name = yumConfIO_->substituted(repo.name);
            repoDialog_->config(shown);
            repoDialog_->exec();
            return;
        }
    }
}

void Area::handleFiles()
{
    if (!loadExtraData(true))
        return;
    const QStringList files = yumIO_->getFiles(entry_);
    showText(tr("%1 %2 File List").arg(yumIO_->getName(entry_), yumIO_->getVerRel(entry_)), lines(files));
}

void Area::handleChangeLog()
{
    if (!loadExtraData(false))
        return;
    const QString changeLog = yumIO_->getChangeLog(entry_);
    showText(tr("%1 %2 Change Log").arg(yumIO_->getName(entry_), yumIO_->getVerRel(entry_)), changeLog);
}

void Area::showText(const QString& title, const QString& text)
{
    if (!textDialog_)
        textDialog_ = new TextDialog(this);
    textDialog_->setWindowTitle(title);
    textDialog_->setText(text);
    textDialog_->exec();
}

} // namespace Instance
} // namespace Describe
} // namespace PackageTable
