#pragma once

#include <QWidget>

class HFrameLabel;
class PasswdLineEdit;
class PasswdTextEdit;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QPlainTextEdit;
class YumConfIO;

namespace Repo {
class Entry;
}

namespace RepoEditor {

// The form that shows and edits one repository configuration.  The larder
// credentials carried inside its URLs are offered as two fields of their own, while
// the URL fields keep showing the password masked.
class Config final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(Config)

public:
    explicit Config(QWidget* parent = nullptr);

    // The [main] values that the two "Default" items stand for.
    void setDefaults(bool mainEnabled, bool mainGpgcheck);
    // Fills every field and counts the form as unchanged.
    void setEntry(const Repo::Entry& entry);
    Repo::Entry toEntry() const;
    // Shows in label the first problem of the configuration; true when there is one.
    bool setStatus(const YumConfIO& yumConfIO, HFrameLabel* label) const;
    // What the package manager would refuse or misread in the form, naming the field;
    // empty when nothing.
    QString problem() const;
    // Makes every field read-only, for a configuration that is only shown.
    void disable();

    // Whether a field was changed since the form was filled.
    bool isChanged() const { return changed_; }

Q_SIGNALS:
    // A field was changed by the user.
    void edited();

public Q_SLOTS:
    void valueChanged();
    void urlChanged();
    void authChanged(const QString& text);

private:
    void fillAuth();

    QLineEdit* id_;
    QLineEdit* name_;
    PasswdTextEdit* urls_;
    PasswdLineEdit* mirrorlist_;
    QLineEdit* authName_;
    QLineEdit* authPassword_;
    QPlainTextEdit* otherOptions_;
    QComboBox* enabled_;
    QComboBox* gpgcheck_;
    QLineEdit* file_;
    QDoubleSpinBox* sortPosition_;
    // Set while the fields are filled or rewritten by the program rather than the user.
    bool filling_ = false;
    bool changed_ = false;
};

} // namespace RepoEditor
