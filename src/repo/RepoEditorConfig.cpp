#include "repo/RepoEditorConfig.h"

#include "repo/RepoEntry.h"
#include "repo/RepoLarder.h"
#include "repo/YumConfIO.h"
#include "widgets/Colors.h"
#include "widgets/HFrameLabel.h"
#include "widgets/PasswdLineEdit.h"
#include "widgets/PasswdTextEdit.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QVBoxLayout>

#include <algorithm>
#include <limits>

namespace RepoEditor {

namespace {

void addRow(QFormLayout* form, const QString& label, QWidget* field, const char* objectName,
            const QString& toolTip)
{
    field->setObjectName(QLatin1String(objectName));
    field->setToolTip(toolTip);
    auto* text = new QLabel(label);
    text->setToolTip(toolTip);
    text->setBuddy(field);
    form->addRow(text, field);
}

QComboBox* triStateCombo()
{
    auto* combo = new QComboBox;
    combo->addItem(Config::tr("No"));
    combo->addItem(QString());
    combo->addItem(Config::tr("Yes"));
    return combo;
}

QString defaultText(bool value)
{
    return Config::tr("%1 %2").arg(Config::tr("Default"), value ? Config::tr("(Yes)") : Config::tr("(No)"));
}

} // namespace

Config::Config(QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);

    auto* main = new QFormLayout;
    id_ = new QLineEdit;
    id_->setPalette(Colors::makeRequired(id_->palette()));
    addRow(main, tr("Identifier"), id_, "identifier", tr("Unique identifier for the repository"));
    name_ = new QLineEdit;
    addRow(main, tr("Name"), name_, "name", tr("Description of the repository"));
    urls_ = new PasswdTextEdit(Repo::Larder::urlsRegExp(), 4, 60);
    urls_->setLineWrapMode(QTextEdit::NoWrap);
    addRow(main, tr("URLs"), urls_, "urls",
           tr("List of URLs to the repository.\n"
              "If more than one is specified, they all should be identical mirrors,\n"
              "and will provide redundancy if some URLs are unreachable."));
    mirrorlist_ = new PasswdLineEdit(Repo::Larder::oneUrlRegExp());
    addRow(main, tr("Mirror list URL"), mirrorlist_, "mirrorlist",
           tr("URL to a file containing a list of URLs to the repository."));
    layout->addLayout(main);

    auto* larder = new QGroupBox(tr("Larder Authentication"));
    auto* larderForm = new QFormLayout(larder);
    authName_ = new QLineEdit;
    addRow(larderForm, tr("Name"), authName_, "authName",
           tr("Authentication name for a repository using the larder authentication method"));
    authPassword_ = new QLineEdit;
    addRow(larderForm, tr("Password"), authPassword_, "authPassword",
           tr("Authentication password for a repository using the larder authentication method"));
    layout->addWidget(larder);

    auto* options = new QGroupBox(tr("Repository Options"));
    auto* optionsForm = new QFormLayout(options);
    otherOptions_ = new QPlainTextEdit;
    otherOptions_->setLineWrapMode(QPlainTextEdit::NoWrap);
    addRow(optionsForm, tr("Other Options:"), otherOptions_, "otherOptions",
           tr("Any other yum options for this repository.  See yum.conf(5)"));
    enabled_ = triStateCombo();
    addRow(optionsForm, tr("Enabled"), enabled_, "enabled",
           tr("Whether or not the repository is enabled for use"));
    gpgcheck_ = triStateCombo();
    addRow(optionsForm, tr("Check GPG Keys"), gpgcheck_, "gpgcheck",
           tr("Whether or not GPG key signatures of packages from the repository are checked to "
              "ensure authenticity"));
    layout->addWidget(options);

    auto* fileGroup = new QGroupBox(tr("Configuration File (expert)"));
    auto* fileForm = new QFormLayout(fileGroup);
    file_ = new QLineEdit;
    addRow(fileForm, tr("File"), file_, "file",
           tr("Name of the yum configuration file into which to place this repository configuration.\n"
              "If left blank, defaults to the repository's identifier"));
    sortPosition_ = new QDoubleSpinBox;
    // Positions are counted from 1 by reading; any value orders as well.
    sortPosition_->setRange(-std::numeric_limits<int>::max(), std::numeric_limits<int>::max());
    sortPosition_->setDecimals(3);
    addRow(fileForm, tr("Sort Position"), sortPosition_, "sortPosition",
           tr("A numeric sort key which determines the order of this repository configuration\n"
              "in a configuration file which contains multiple configurations"));
    layout->addWidget(fileGroup);

    setDefaults(true, false);

    // Only the user's edits count as changes: programmatic fills run under filling_.
    connect(id_, &QLineEdit::textEdited, this, &Config::valueChanged);
    connect(name_, &QLineEdit::textEdited, this, &Config::valueChanged);
    connect(file_, &QLineEdit::textEdited, this, &Config::valueChanged);
    connect(urls_, &PasswdTextEdit::realTextChanged, this, &Config::urlChanged);
    connect(mirrorlist_, &PasswdLineEdit::realTextChanged, this, &Config::urlChanged);
    connect(authName_, &QLineEdit::textEdited, this, &Config::authChanged);
    connect(authPassword_, &QLineEdit::textEdited, this, &Config::authChanged);
    connect(otherOptions_, &QPlainTextEdit::textChanged, this, &Config::valueChanged);
    connect(enabled_, &QComboBox::currentIndexChanged, this, &Config::valueChanged);
    connect(gpgcheck_, &QComboBox::currentIndexChanged, this, &Config::valueChanged);
    connect(sortPosition_, &QDoubleSpinBox::valueChanged, this, &Config::valueChanged);
}

void Config::setDefaults(bool mainEnabled, bool mainGpgcheck)
{
    enabled_->setItemText(Repo::Default, defaultText(mainEnabled));
    gpgcheck_->setItemText(Repo::Default, defaultText(mainGpgcheck));
}

void Config::setEntry(const Repo::Entry& entry)
{
    filling_ = true;
    id_->setText(entry.id);
    name_->setText(entry.name);
    urls_->setRealPlainText(entry.baseurl);
    mirrorlist_->setRealText(entry.mirrorlist);
    fillAuth();
    // Every stored line ends in "\n"; the last one would show as an empty line.
    QString options = entry.otherOptions;
    if (options.endsWith(QLatin1Char('\n')))
        options.chop(1);
    otherOptions_->setPlainText(options);
    enabled_->setCurrentIndex(entry.enabled);
    gpgcheck_->setCurrentIndex(entry.gpgcheck);
    file_->setText(entry.file);
    sortPosition_->setValue(entry.sortPosition);
    filling_ = false;
    changed_ = false;
}

Repo::Entry Config::toEntry() const
{
    static const QRegularExpression blanks(QStringLiteral("[ \t\n]+"));
    static const QRegularExpression blankLine(QStringLiteral("^[ \t]*$"));
    Repo::Entry entry;
    entry.id = id_->text();
    entry.name = name_->text();
    // One URL per line, as reading leaves them; stray blanks would be written as
    // empty continuation lines.
    entry.baseurl = urls_->realPlainText().split(blanks, Qt::SkipEmptyParts).join(QLatin1Char('\n'));
    entry.mirrorlist = mirrorlist_->realText();
    // Each line is written as it stands, so each must end in "\n"; a blank line
    // would join the option before it.
    const QStringList lines = otherOptions_->toPlainText().split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (!blankLine.match(line).hasMatch())
            entry.otherOptions += line + QLatin1Char('\n');
    }
    entry.enabled = Repo::TriState(enabled_->currentIndex());
    entry.gpgcheck = Repo::TriState(gpgcheck_->currentIndex());
    entry.file = file_->text();
    entry.sortPosition = sortPosition_->value();
    return entry;
}

namespace {

// The schemes the package manager downloads from.
bool knownScheme(const QString& url)
{
    static const QRegularExpression scheme(QStringLiteral("^(https?|ftps?|file)://"),
                                           QRegularExpression::CaseInsensitiveOption);
    return scheme.match(url).hasMatch();
}

QString urlProblem(const QString& field, const QString& text, bool several)
{
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QString url = lines.at(i).trimmed();
        if (url.isEmpty())
            continue;
        const QString where = several ? Config::tr("%1, line %2").arg(field).arg(i + 1) : field;
        if (url.contains(QLatin1Char(' ')) || url.contains(QLatin1Char('\t')))
            return several ? Config::tr("%1: a URL cannot hold blanks; put each URL on a line of its own").arg(where)
                           : Config::tr("%1: a URL cannot hold blanks").arg(where);
        if (!knownScheme(url))
            return Config::tr("%1: the URL does not begin with a scheme the package manager knows "
                              "(http://, https://, ftp://, ftps://, file://)")
                .arg(where);
    }
    return QString();
}

} // namespace

QString Config::problem() const
{
    QString text = urlProblem(tr("URLs"), urls_->realPlainText(), true);
    if (text.isEmpty())
        text = urlProblem(tr("Mirror list URL"), mirrorlist_->realText(), false);
    if (!text.isEmpty())
        return text;
    const QStringList lines = otherOptions_->toPlainText().split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        // Blank lines are dropped, comments and continuation lines kept as they are.
        if (line.trimmed().isEmpty() || line.startsWith(QLatin1Char('#')) || line.startsWith(QLatin1Char(';'))
            || line.startsWith(QLatin1Char(' ')) || line.startsWith(QLatin1Char('\t')))
            continue;
        const int equals = int(line.indexOf(QLatin1Char('=')));
        if (equals < 0)
            return tr("Other Options: \"%1\" is not of the form name=value").arg(line);
        const QString name = line.left(equals).trimmed();
        static const QRegularExpression bad(QStringLiteral("[\\s:]"));
        if (name.isEmpty() || name.contains(bad))
            return tr("Other Options: the name \"%1\" is empty or holds blanks, \"=\" or \":\"")
                .arg(line.left(equals));
    }
    return QString();
}

bool Config::setStatus(const YumConfIO& yumConfIO, HFrameLabel* label) const
{
    const Repo::Entry entry = toEntry();
    QString text;
    bool error = false;
    if (!(text = problem()).isEmpty()) {
        error = true;
    } else if (entry.id.isEmpty()) {
        text = tr("No Identifier specified");
        error = true;
    } else if (entry.baseurl.isEmpty() && entry.mirrorlist.isEmpty()) {
        text = tr("No URLs or Mirror list URL specified");
    } else if (!entry.file.isEmpty() && entry.file != yumConfIO.fileName()) {
        const QStringList& dirs = yumConfIO.reposdirs();
        const bool inReposdir = std::any_of(dirs.cbegin(), dirs.cend(), [&entry](const QString& dir) {
            return entry.file.startsWith(dir + QLatin1Char('/'));
        });
        if (!inReposdir)
            text = tr("File is not in any reposdir directory");
        else if (!entry.file.endsWith(QLatin1String(".repo")))
            text = tr("File lacks .repo suffix");
    }
    QString nameKey, name, passwordKey, password;
    if (text.isEmpty() && Repo::Larder::getAuth(entry, nameKey, name, passwordKey, password)) {
        if (name.isEmpty())
            text = tr("No Larder Authentication Name specified");
        else if (password.isEmpty())
            text = tr("No Larder Authentication Password specified");
    }
    if (!text.isEmpty())
        label->setPalette(error ? Colors::makeError(label->palette()) : Colors::makeWarning(label->palette()));
    label->setText(text);
    return !text.isEmpty();
}

void Config::disable()
{
    for (QLineEdit* edit : {id_, name_, authName_, authPassword_, file_})
        edit->setReadOnly(true);
    mirrorlist_->setReadOnly(true);
    urls_->setReadOnly(true);
    otherOptions_->setReadOnly(true);
    sortPosition_->setReadOnly(true);
    enabled_->setEnabled(false);
    gpgcheck_->setEnabled(false);
}

void Config::valueChanged()
{
    if (filling_)
        return;
    changed_ = true;
    Q_EMIT edited();
}

// The credential fields follow URLs typed by hand.
void Config::urlChanged()
{
    if (filling_)
        return;
    filling_ = true;
    fillAuth();
    filling_ = false;
    valueChanged();
}

void Config::authChanged(const QString&)
{
    if (filling_)
        return;
    filling_ = true;
    QString urls = urls_->realPlainText();
    if (Repo::Larder::replaceAuth(urls, authName_->text(), authPassword_->text()))
        urls_->setRealPlainText(urls);
    QString mirrorlist = mirrorlist_->realText();
    if (Repo::Larder::replaceAuth(mirrorlist, authName_->text(), authPassword_->text()))
        mirrorlist_->setRealText(mirrorlist);
    filling_ = false;
    valueChanged();
}

void Config::fillAuth()
{
    QString nameKey, name, passwordKey, password;
    if (!Repo::Larder::getAuth(urls_->realPlainText(), nameKey, name, passwordKey, password)
        && !Repo::Larder::getAuth(mirrorlist_->realText(), nameKey, name, passwordKey, password)) {
        name.clear();
        password.clear();
    }
    // Rewritten only when different, so that the field being typed in keeps its cursor.
    if (authName_->text() != name)
        authName_->setText(name);
    if (authPassword_->text() != password)
        authPassword_->setText(password);
}

} // namespace RepoEditor
