#include "repo/RepoMessageBoxes.h"

#include "repo/RepoMessages.h"
#include "widgets/BreakableText.h"
#include "widgets/ModalAnswer.h"

#include <QMessageBox>

namespace Repo {

namespace {

void critical(QWidget* parent, const QString& title, const QString& text)
{
    QMessageBox box(QMessageBox::Critical, title, BreakableText::of(text), QMessageBox::Ok, parent);
    ModalAnswer::exec(box);
}

bool question(QWidget* parent, const QString& title, const QString& text)
{
    QMessageBox box(QMessageBox::Critical, title, BreakableText::of(text), QMessageBox::Yes | QMessageBox::No, parent);
    box.setDefaultButton(QMessageBox::No);
    box.setEscapeButton(QMessageBox::No);
    return ModalAnswer::exec(box) == QMessageBox::Yes;
}

} // namespace

void MessageBoxes::install()
{
    Messages::install(critical, question);
}

} // namespace Repo
