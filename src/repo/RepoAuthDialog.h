#pragma once

#include "widgets/HDialog.h"

#include <QString>

class QLabel;
class QFormLayout;
class QLineEdit;

namespace Repo {
class Entry;
}

namespace RepoAuth {

// Asks for the larder credentials of one repository.
class Dialog final : public HDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(Dialog)

public:
    // The result of exec(), one per button.
    enum Result { SkipAll = 0, Ok = 1, ApplyToAll = 2, ApplyToHost = 3, DisableForSession = 4, Quit = 5 };

    explicit Dialog(QWidget* parent = nullptr);

    // Shows the repository; on Ok and both Apply results its URLs receive the typed
    // credentials.  Returns a Result.
    // shownName: the name with its variables substituted; the entry's own when null.
    int exec(Repo::Entry* entry, const QString& shownName = QString());
    int exec() override;

    QString name() const;
    QString password() const;

private:
    void authChanged();
    void refreshLabels();
    QLabel* addLabel(QFormLayout* form, const QString& text, const char* objectName);

    QString baseurl_;
    QString mirrorlist_;
    QLabel* idLabel_;
    QLabel* nameLabel_;
    QLabel* urlsLabel_;
    QLabel* mirrorlistLabel_;
    QLineEdit* authName_;
    QLineEdit* authPassword_;
};

} // namespace RepoAuth
