#pragma once

#include "packagetable/PackageTable.h"
#include "widgets/HSortFilterProxyModel.h"

#include <QByteArray>
#include <QHash>

#include <regex.h>
#include <vector>

class YumIO;

namespace Package {
class Entry;
}

namespace PackageTable {

class Model;

// Decides which catalogue rows are listed, from the mode, a regular expression, the state
// filter and whether duplicates and groups are included; sorts with the name as tie-break.
class SortFilterProxyModel : public HSortFilterProxyModel
{
    Q_OBJECT
    Q_DISABLE_COPY(SortFilterProxyModel)

public:
    SortFilterProxyModel(StateFilter stateFilter, bool dups, bool groups, YumIO* yumIO,
                         QObject* parent);
    ~SortFilterProxyModel() override;

    void setSourceModel(HAbstractTableModel* model);

    Mode mode() const { return mode_; }
    StateFilter stateFilter() const { return stateFilter_; }
    bool dupsFilter() const { return dups_; }
    bool groupsFilter() const { return groups_; }
    void setMode(Mode mode);
    void setStateFilter(StateFilter stateFilter);
    void setDupsFilter(bool dups);
    void setGroupsFilter(bool groups);
    void setFilter(bool filter);
    bool getFilter() const { return filtering_; }
    void setFilterRegExp(const QString& text);
    // Marks every listed out-of-date package for update.
    void setUpdateListed();

    bool matches(const QString& text) const;
    bool acceptRow(Package::Entry* entry, int row, const QModelIndex& parent) const;
    int cachedRows() const { return int(cache_.size()); }

public Q_SLOTS:
    void clear();
    void clearCache();

protected:
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override;
    bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;
    // The text of one searched field of an entry, fields numbered in search order; the
    // list fields give one text per item.
    virtual QStringList searchField(const Package::Entry& entry, int field) const;

private:
    bool matchesBytes(const char* text, qsizetype length) const;
    bool filterModeAccepts(const Package::Entry& entry, int row) const;
    void buildFilterTexts() const;
    bool searchModeAccepts(const Package::Entry& entry) const;
    // Sort keys of one column for every row, built once per catalogue: ranks of the
    // texts, or the numbers the variants would give.  Null when the rows cannot be read
    // directly.
    const std::vector<int>* sortKeys(int column) const;

    Mode mode_ = Filter;
    bool filtering_ = true;
    StateFilter stateFilter_;
    bool dups_;
    bool groups_;
    YumIO* yumIO_;
    HAbstractTableModel* source_ = nullptr;
    // The same source when it is the package model, whose entries can be read directly.
    Model* model_ = nullptr;
    mutable QHash<Package::Entry*, bool> cache_;
    // While a new expression is handed to the base, whose mapping the source's reset
    // discards right after, rows keep their cached answers.
    bool holdAnswers_ = false;
    regex_t regex_;
    int regexResult_ = -1;
    // Set when the expression has no special character: it then matches exactly where
    // the text contains it.
    bool literal_ = false;
    QByteArray literalText_;
    // Joined display texts of the listed columns per row, kept for one catalogue.
    mutable std::vector<char> filterBytes_;
    mutable std::vector<size_t> filterOffsets_;
    mutable quint64 filterTextsGeneration_ = 0;
    mutable std::vector<quint8> rowFlags_;
    mutable quint64 rowFlagsGeneration_ = 0;
    mutable std::vector<int> sortKeys_[9];
    mutable quint64 sortKeysGeneration_ = 0;
    bool emptyExpression_ = true;
};

} // namespace PackageTable
