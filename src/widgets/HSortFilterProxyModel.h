#pragma once

#include <QSortFilterProxyModel>

class HAbstractTableModel;
class QRegularExpression;

// A sort proxy whose ties are broken by a secondary column.
class HSortFilterProxyModel : public QSortFilterProxyModel
{
    Q_OBJECT
    Q_DISABLE_COPY(HSortFilterProxyModel)

public:
    HSortFilterProxyModel(int secondarySortColumn, QObject* parent);

    void setSourceModel(HAbstractTableModel* model);
    HAbstractTableModel* hSourceModel() const { return source_; }
    int secondarySortColumn() const { return secondarySortColumn_; }

    // Each runs the base operation, makes the source rediscover the sort column and sorts.
    void setFilterRegExp(const QString& pattern);
    void setFilterRegExp(const QRegularExpression& expression);
    void clear();
    void filterChanged();

protected:
    bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;
    QModelIndex createSecondarySortIndex(const QModelIndex& index) const;

private:
    void rediscoverAndSort();

    int secondarySortColumn_;
    HAbstractTableModel* source_ = nullptr;
};
