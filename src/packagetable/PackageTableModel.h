#pragma once

#include "widgets/HAbstractTableModel.h"
#include "yumio/Package.h"

#include <QColor>
#include <QIcon>
#include <QModelIndexList>
#include <QPointer>

class QWidget;
class YumConfIO;
class YumIO;

namespace Package {
class Entry;
}

namespace PackageTable {

namespace Describe {
class Dialog;
}

// The engine's catalogue as a nine-column table.  Holds no copy: row r is the engine's
// entry r.  The one place where the interface changes an entry's marked action.
class Model final : public HAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(Model)

public:
    enum Column {
        ActionColumn = 0,
        StateColumn,
        KindColumn,
        NameColumn,
        VersionColumn,
        RepositoryColumn,
        ArchitectureColumn,
        SizeColumn,
        BuildTimeColumn,
        ColumnCount
    };

    Model(YumIO* yumIO, QObject* parent);
    ~Model() override;

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    void setYumConfIO(YumConfIO* yumConfIO) { yumConfIO_ = yumConfIO; }
    YumIO* yumIO() const { return yumIO_; }
    // Marks a Downgrade (or an Install of another version than the row's) to verRel.
    void setVersionAction(const QModelIndex& index, Package::Action action, const QString& verRel);
    Package::State getState(int row) const;
    // The entry of a row, or null when the row is not in the catalogue.
    Package::Entry* entry(int row) const;
    void setAction(const QModelIndex& index, Package::Action action);
    void toggleAction(const QModelIndex& index);
    void describe(const QModelIndex& index, QWidget* parent);
    void browse(const QModelIndex& index, QWidget* parent);
    void setEnabled(bool enabled) { enabled_ = enabled; }
    void reset();
    // The engine is about to go: the table becomes empty and reads it no more.
    void detachEngine();

    // The display text of a column, as data() gives it.
    static QString displayText(const Package::Entry& entry, int column);
    // Counts the catalogue's rebuilds, so that what is derived from the texts of a
    // catalogue can tell whether it still holds.
    quint64 catalogueGeneration() const { return generation_; }

public Q_SLOTS:
    void setSelected(const QModelIndexList& indices);
    void clearActions();

private:
    bool validRow(const QModelIndex& index) const;
    void changeAction(int row, Package::Entry& entry, Package::Action action);

    YumIO* yumIO_;
    YumConfIO* yumConfIO_ = nullptr;
    // A child of the widget it was first opened from; the guard notices when that goes.
    QPointer<Describe::Dialog> describeDialog_;
    bool enabled_ = true;
    quint64 generation_ = 0;

    QIcon outOfDateIcon_;
    QIcon upToDateIcon_;
    // An update that fixes a security advisory.
    QIcon securityIcon_;
    QIcon emptyIcon_;
    QIcon noneBoxIcon_;
    QIcon updateBoxIcon_;
    QIcon installBoxIcon_;
    QIcon removeBoxIcon_;
    QIcon suiteIcon_;
    QIcon groupIcon_;
    QIcon packageIcon_;

    QColor errorColor_;
    QColor errorDisabledColor_;
    QColor defaultColor_;
    QColor defaultDisabledColor_;
    QColor minorColor_;
    QColor minorDisabledColor_;
};

} // namespace PackageTable

Q_DECLARE_OPAQUE_POINTER(Package::Entry*)
Q_DECLARE_METATYPE(Package::Entry*)
