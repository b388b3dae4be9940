#include "repo/RepoAuthDialog.h"

#include "repo/RepoEntry.h"
#include "repo/RepoLarder.h"
#include "widgets/ModalAnswer.h"

#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace RepoAuth {

Dialog::Dialog(QWidget* parent) : HDialog(parent)
{
    setWindowTitle(tr("Orvo Authentication"));
    auto* layout = new QVBoxLayout(this);
    auto* heading = new QLabel(tr("Some configured repositories require authentication"), this);
    layout->addWidget(heading);

    auto* form = new QFormLayout;
    idLabel_ = addLabel(form, tr("Identifier"), "identifier");
    nameLabel_ = addLabel(form, tr("Name"), "repoName");
    urlsLabel_ = addLabel(form, tr("URLs"), "urls");
    mirrorlistLabel_ = addLabel(form, tr("Mirror list URL"), "mirrorlist");
    layout->addLayout(form);

    auto* group = new QGroupBox(tr("Larder Authentication"), this);
    auto* groupForm = new QFormLayout(group);
    authName_ = new QLineEdit(group);
    authName_->setObjectName(QStringLiteral("authName"));
    authName_->setToolTip(tr("Authentication name for a repository using the larder authentication method"));
    authPassword_ = new QLineEdit(group);
    authPassword_->setObjectName(QStringLiteral("authPassword"));
    authPassword_->setToolTip(
        tr("Authentication password for a repository using the larder authentication method"));
    groupForm->addRow(tr("Name"), authName_);
    groupForm->addRow(tr("Password"), authPassword_);
    layout->addWidget(group);
    connect(authName_, &QLineEdit::textChanged, this, &Dialog::authChanged);
    connect(authPassword_, &QLineEdit::textChanged, this, &Dialog::authChanged);

    auto* buttons = new QGridLayout;
    const struct {
        const char* text;
        Result result;
    } kinds[] = {
        {QT_TR_NOOP("OK"), Ok},
        {QT_TR_NOOP("Apply to All"), ApplyToAll},
        {QT_TR_NOOP("Apply to All with this Host"), ApplyToHost},
        {QT_TR_NOOP("Disable for Session"), DisableForSession},
        {QT_TR_NOOP("Skip All"), SkipAll},
        {QT_TR_NOOP("Quit"), Quit},
    };
    int column = 0;
    for (const auto& kind : kinds) {
        auto* button = new QPushButton(tr(kind.text), this);
        button->setAutoDefault(false);
        const int result = kind.result;
        connect(button, &QPushButton::clicked, this, [this, result] { done(result); });
        buttons->addWidget(button, column / 3, column % 3);
        ++column;
    }
    layout->addLayout(buttons);
}

QLabel* Dialog::addLabel(QFormLayout* form, const QString& text, const char* objectName)
{
    auto* label = new QLabel(this);
    label->setObjectName(QLatin1String(objectName));
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    form->addRow(text, label);
    return label;
}

int Dialog::exec()
{
    return ModalAnswer::exec(*this);
}

int Dialog::exec(Repo::Entry* entry, const QString& shownName)
{
    baseurl_ = entry->baseurl;
    mirrorlist_ = entry->mirrorlist;
    idLabel_->setText(entry->id);
    nameLabel_->setText(shownName.isNull() ? entry->name : shownName);
    QString nameKey, name, passwordKey, password;
    Repo::Larder::getAuth(*entry, nameKey, name, passwordKey, password);
    {
        const QSignalBlocker nameBlocker(authName_);
        const QSignalBlocker passwordBlocker(authPassword_);
        authName_->setText(name);
        authPassword_->setText(password);
    }
    refreshLabels();
    authName_->setFocus();
    const int result = exec();
    if (result == Ok || result == ApplyToAll || result == ApplyToHost) {
        entry->baseurl = baseurl_;
        entry->mirrorlist = mirrorlist_;
    }
    return result;
}

QString Dialog::name() const
{
    return authName_->text();
}

QString Dialog::password() const
{
    return authPassword_->text();
}

void Dialog::authChanged()
{
    Repo::Larder::replaceAuth(baseurl_, authName_->text(), authPassword_->text());
    Repo::Larder::replaceAuth(mirrorlist_, authName_->text(), authPassword_->text());
    refreshLabels();
}

// The labels show the URLs as they will be written, the password masked.
void Dialog::refreshLabels()
{
    const QString mask(authPassword_->text().size(), QLatin1Char('*'));
    QString urls = baseurl_;
    Repo::Larder::replaceAuth(urls, mask);
    QString mirrorlist = mirrorlist_;
    Repo::Larder::replaceAuth(mirrorlist, mask);
    urlsLabel_->setText(urls);
    mirrorlistLabel_->setText(mirrorlist);
}

} // namespace RepoAuth
