#include "app/SystemOpener.h"

#include "app/SystemRoot.h"
#include "widgets/ModalAnswer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QSettings>

namespace System {

namespace {

const int recentLimit = 8;
Opener::Starter starter;

QString tr(const char* text)
{
    return QCoreApplication::translate("System::Opener", text);
}

const char* const recentKey = "recentSystems";

// The new window is the program itself, on the other root; everything else in the
// environment (ORVOSHARE among it) stays as it is.
bool startProgram(const QString& root)
{
    QProcess process;
    process.setProgram(QCoreApplication::applicationFilePath());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ORVOROOT"), root);
    process.setProcessEnvironment(environment);
    return process.startDetached();
}

void tell(QWidget* parent, QMessageBox::Icon icon, const QString& text)
{
    QMessageBox box(icon, tr("Open System"), text, QMessageBox::Ok, parent);
    ModalAnswer::exec(box);
}

} // namespace

void Opener::choose(QWidget* parent)
{
    QFileDialog files(parent, tr("Open System"));
    files.setOption(QFileDialog::DontUseNativeDialog);
    files.setFileMode(QFileDialog::Directory);
    files.setOption(QFileDialog::ShowDirsOnly);
    const QStringList known = recent();
    if (!known.isEmpty())
        files.setDirectory(known.constFirst());
    if (ModalAnswer::exec(files) != QDialog::Accepted || files.selectedFiles().isEmpty())
        return;
    open(parent, files.selectedFiles().constFirst());
}

bool Opener::open(QWidget* parent, const QString& dir)
{
    const QString root = QDir::cleanPath(QDir(dir).absolutePath());
    const QString problem = Root::missing(root);
    if (!problem.isEmpty()) {
        tell(parent, QMessageBox::Warning, problem);
        return false;
    }
    remember(root);
    if (!(starter ? starter(root) : startProgram(root))) {
        tell(parent, QMessageBox::Critical, tr("Unable to start %1 for %2").arg(QCoreApplication::applicationFilePath(), root));
        return false;
    }
    return true;
}

QStringList Opener::recent()
{
    const QSettings settings(QSettings::UserScope, QStringLiteral("Orvo"), QStringLiteral("Orvo"));
    return settings.value(QLatin1String(recentKey)).toStringList();
}

void Opener::remember(const QString& root)
{
    QStringList list = recent();
    list.removeAll(root);
    list.prepend(root);
    while (list.size() > recentLimit)
        list.removeLast();
    QSettings settings(QSettings::UserScope, QStringLiteral("Orvo"), QStringLiteral("Orvo"));
    settings.setValue(QLatin1String(recentKey), list);
}

void Opener::fillRecentMenu(QMenu* menu, QWidget* parent)
{
    menu->clear();
    const QStringList known = recent();
    for (const QString& root : known)
        menu->addAction(root, parent, [parent, root] { open(parent, root); });
    if (known.isEmpty())
        menu->addAction(tr("(none)"))->setEnabled(false);
}

void Opener::setStarter(Starter replacement)
{
    starter = std::move(replacement);
}

} // namespace System
