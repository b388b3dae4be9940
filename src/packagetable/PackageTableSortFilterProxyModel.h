#pragma once

#include "packagetable/PackageTable.h"
#include "widgets/HSortFilterProxyModel.h"

#include <QByteArray>

#include <regex.h>
#include <memory>
#include <vector>

class QTimer;
class YumIO;
class YumIOSearchIndex;

namespace Package {
class Entry;
}

namespace PackageTable {

class Model;
class SearchRun;

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
    // Lists only updates that fix a security advisory, together with the other settings.
    bool securityFilter() const { return securityOnly_; }
    void setSecurityFilter(bool securityOnly);
    void setFilter(bool filter);
    bool getFilter() const { return filtering_; }
    void setFilterRegExp(const QString& text);
    // Marks every listed out-of-date package for update; with securityFixesOnly, only
    // those that fix a security advisory.
    void setUpdateListed(bool securityFixesOnly = false);

    // Why the expression does not compile, as the system says; empty when it does.
    QString expressionError() const { return expressionError_; }
    bool matches(const QString& text) const;
    // The answer for one row, every field read through the engine: what the search
    // index gives must be the same.
    bool acceptRow(Package::Entry* entry, int row, const QModelIndex& parent) const;
    int cachedRows() const { return cachedRows_; }
    // Whether a search through the engine's index is still filling in the listing.
    bool searching() const;

Q_SIGNALS:
    // The listing of a search through the index is complete.
    void searchFinished();

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
    bool settingsAccept(const Package::Entry& entry, int row) const;
    // The index when search mode can use it for the current catalogue, else null.
    const YumIOSearchIndex* usableIndex() const;
    void startSearch() const;
    void searchFound(const QList<int>& rows);
    void applyFound();
    void endSearch();
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
    bool securityOnly_ = false;
    YumIO* yumIO_;
    HAbstractTableModel* source_ = nullptr;
    // The same source when it is the package model, whose entries can be read directly.
    Model* model_ = nullptr;
    // Answers by source row, each with the entry it was given for: a row that now holds
    // another entry is asked again.
    struct CachedRow {
        const Package::Entry* entry = nullptr;
        bool accepted = false;
    };
    mutable std::vector<CachedRow> cache_;
    mutable int cachedRows_ = 0;
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
    QString expressionError_;
    QByteArray pattern_;
    // The search through the index: which rows matched so far, and whether the settings
    // changed since it started.
    SearchRun* run_;
    QTimer* applyTimer_;
    mutable bool searchStale_ = true;
    mutable std::vector<quint8> found_;
    mutable qsizetype newlyFound_ = 0;
    // Index position of every row's entry, for one index and catalogue.
    mutable std::shared_ptr<const YumIOSearchIndex> rowIndexOf_;
    mutable quint64 rowIndexGeneration_ = 0;
    mutable std::vector<int> rowIndex_;
    mutable bool rowIndexComplete_ = false;
};

} // namespace PackageTable
