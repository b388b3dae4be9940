#include "repo/RepoAuthChecker.h"

#include "app/URL.h"
#include "repo/RepoAuthDialog.h"
#include "repo/RepoLarder.h"
#include "repo/YumConfIO.h"

#include <QHash>

namespace RepoAuth {

Checker::Checker(QWidget* parent, YumConfIO& yumConfIO)
{
    check(parent, yumConfIO);
}

Checker::~Checker() = default;

void Checker::check(QWidget* parent, YumConfIO& yumConfIO)
{
    // Writing back what a failed read left would lose the repositories not yet read.
    if (!yumConfIO.read(parent))
        return;

    bool changed = false;
    bool haveAnswerForAll = false;
    Auth answerForAll;
    QHash<QString, Auth> answerForHost;
    QString nameKey, name, passwordKey, password;

    for (Repo::Entry& entry : yumConfIO.repos()) {
        if (!yumConfIO.sessionUse().value(entry.id, false))
            continue;
        if (!Repo::Larder::getAuth(entry, nameKey, name, passwordKey, password))
            continue;
        if (!name.isEmpty() || !password.isEmpty())
            continue;
        QString host = URL::getHost(entry.baseurl);
        if (host.isEmpty())
            host = URL::getHost(entry.mirrorlist);

        const Auth* answer = nullptr;
        if (haveAnswerForAll)
            answer = &answerForAll;
        else if (answerForHost.contains(host))
            answer = &answerForHost[host];
        if (answer) {
            Repo::Larder::replaceAuth(entry.baseurl, answer->name, answer->password);
            Repo::Larder::replaceAuth(entry.mirrorlist, answer->name, answer->password);
        } else {
            if (!dialog_)
                dialog_ = std::make_unique<Dialog>(parent);
            const int result = dialog_->exec(&entry, yumConfIO.substituted(entry.name));
            if (result == Dialog::ApplyToAll) {
                haveAnswerForAll = true;
                answerForAll = Auth{dialog_->name(), dialog_->password()};
            } else if (result == Dialog::ApplyToHost) {
                answerForHost.insert(host, Auth{dialog_->name(), dialog_->password()});
            } else if (result == Dialog::DisableForSession) {
                yumConfIO.sessionUse()[entry.id] = false;
                continue;
            } else if (result == Dialog::Quit) {
                quit_ = true;
                break;
            } else if (result != Dialog::Ok) {
                break;
            }
        }
        if (Repo::Larder::getAuth(entry, nameKey, name, passwordKey, password)
            && (!name.isEmpty() || !password.isEmpty()))
            changed = true;
    }

    if (dialog_)
        dialog_->hide();
    if (changed)
        wrote_ = yumConfIO.write(parent);
}

} // namespace RepoAuth
