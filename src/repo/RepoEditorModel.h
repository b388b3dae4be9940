#pragma once

#include <QAbstractTableModel>
#include <QFont>
#include <QIcon>

class YumConfIO;
class YumIO;

namespace Repo {
class Entry;
}

namespace RepoEditor {

// The repositories of the configuration, one row per entry of YumConfIO::repos() in
// list order: session use, persistent enabled flag, identifier and name.
class Model final : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(Model)

public:
    enum Column { UseColumn = 0, EnabledColumn = 1, IdColumn = 2, NameColumn = 3, ColumnCount = 4 };

    // engine gives yum's variables for browsing and may be null.
    Model(YumIO* engine, YumConfIO* yumConfIO, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    bool removeRows(int row, int count, const QModelIndex& parent = QModelIndex()) override;

    void toggleUse(const QModelIndex& index);
    // Yes or Default-while-[main]-enables turns into No, anything else into Yes.
    void toggleEnabled(const QModelIndex& index);
    // Appends a copy of entry; returns its row.
    int addRow(const Repo::Entry& entry);
    void reset();
    // The whole row changed.
    using QAbstractTableModel::dataChanged;
    void dataChanged(int row);
    void browse(const QModelIndex& index, QWidget* parent);
    void setViewFont(const QFont& font);

    YumConfIO* yumConfIO() const { return yumConfIO_; }

Q_SIGNALS:
    void useChanged();
    void configChanged();

private:
    bool effectiveEnabled(int row) const;

    YumIO* engine_;
    YumConfIO* yumConfIO_;
    QFont viewFont_;
    QFont italicFont_;
    QIcon noneBox_;
    QIcon checkBox_;
};

} // namespace RepoEditor
