#pragma once

#include <QFrame>
#include <QList>
#include <QString>

class QGridLayout;
class QPushButton;
class QVBoxLayout;
class TextDialog;
class YumConfIO;
class YumIO;

namespace Package {
class Entry;
}

namespace PackageTable {
namespace Describe {

class Dialog;

namespace Instance {

class RepoDialog;

// The rows that describe one catalogue entry, or one further installed version of it,
// with buttons that open its repository, file list and change log.
class Area final : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(Area)

public:
    // A push button and the text it carries when nothing has to be loaded first.
    class Button final
    {
    public:
        QPushButton* button = nullptr;
        QString text;
    };

    // Adds itself to column.  full: every field, for the entry itself; otherwise the few
    // fields that tell a further installed version apart.
    Area(Dialog* dialog, QVBoxLayout* column, YumIO* yumIO, const Package::Entry& entry,
         YumConfIO* yumConfIO, bool full);
    ~Area() override;

    const Package::Entry& entry() const { return entry_; }
    // The header: the entry's state.
    const QString& header() const { return header_; }
    // The labels of the rows shown, in order, without their colons.
    QStringList labels() const;
    // The text shown for a row, empty when the row is left out.
    QString value(const QString& label) const;
    // The button of a row, or null.
    QPushButton* button(const QString& label) const;
    // Null until first used.
    TextDialog* textDialog() const { return textDialog_; }
    RepoDialog* repoDialog() const { return repoDialog_; }

public Q_SLOTS:
    void updateButtons();
    void handleRepo();
    void handleFiles();
    void handleChangeLog();

private:
    class Row final
    {
    public:
        QString label;
        QString value;
        QPushButton* button = nullptr;
    };

    void addHeader(int& row, const QString& text);
    void addPair(int& row, const QString& label, const QString& value);
    QPushButton* addButton(int& row, const QString& label, const QString& buttonText);
    QPushButton* addPairButton(int& row, const QString& label, const QString& value,
                               const QString& buttonText);
    void addLabel(int row, const QString& label);
    void addValue(int row, const QString& value);
    void addPackageRows(int& row);
    void addGroupRows(int& row);
    void updateButton(Button& button, bool loaded);
    // Loads the file lists or the other data first when this entry needs them.
    bool loadExtraData(bool fileLists);
    void showText(const QString& title, const QString& text);

    Dialog* dialog_;
    YumIO* yumIO_;
    const Package::Entry& entry_;
    YumConfIO* yumConfIO_;
    bool full_;
    QGridLayout* grid_;
    QString header_;
    QList<Row> rows_;
    Button files_;
    Button changeLog_;
    RepoDialog* repoDialog_ = nullptr;
    TextDialog* textDialog_ = nullptr;
};

} // namespace Instance
} // namespace Describe
} // namespace PackageTable
