#include "widgets/HSortFilterProxyModel.h"

#include "widgets/HAbstractTableModel.h"

#include <QDate>
#include <QDateTime>
#include <QRegularExpression>
#include <QTime>

HSortFilterProxyModel::HSortFilterProxyModel(int secondarySortColumn, QObject* parent)
    : QSortFilterProxyModel(parent)
    , secondarySortColumn_(secondarySortColumn)
{
}

void HSortFilterProxyModel::setSourceModel(HAbstractTableModel* model)
{
    source_ = model;
    QSortFilterProxyModel::setSourceModel(model);
}

void HSortFilterProxyModel::rediscoverAndSort()
{
    if (source_)
        source_->forceSortColumnRediscovery();
    sort(sortColumn(), sortOrder());
}

void HSortFilterProxyModel::setFilterRegExp(const QString& pattern)
{
    QSortFilterProxyModel::setFilterRegularExpression(pattern);
    rediscoverAndSort();
}

void HSortFilterProxyModel::setFilterRegExp(const QRegularExpression& expression)
{
    QSortFilterProxyModel::setFilterRegularExpression(expression);
    rediscoverAndSort();
}

// With a source, its reset drops the whole mapping; invalidating first would only build
// it once more for nothing, which costs a full filter and sort on a large table.
void HSortFilterProxyModel::clear()
{
    if (!source_)
        invalidate();
    rediscoverAndSort();
}

void HSortFilterProxyModel::filterChanged()
{
    if (!source_)
        invalidateFilter();
    rediscoverAndSort();
}

namespace {

// -1, 0 or 1 as left is below, equal to or above right.
template <typename T>
int order(const T& left, const T& right)
{
    return left < right ? -1 : (right < left ? 1 : 0);
}

int compareVariants(const QVariant& left, const QVariant& right)
{
    switch (left.userType()) {
    case QMetaType::Int:
        return order(left.toInt(), right.toInt());
    case QMetaType::UInt:
        return order(left.toUInt(), right.toUInt());
    case QMetaType::LongLong:
        return order(left.toLongLong(), right.toLongLong());
    case QMetaType::ULongLong:
        return order(left.toULongLong(), right.toULongLong());
    case QMetaType::Double:
        return order(left.toDouble(), right.toDouble());
    case QMetaType::QChar:
        return order(left.toChar(), right.toChar());
    case QMetaType::QString:
        return QString::compare(left.toString(), right.toString(), Qt::CaseSensitive);
    case QMetaType::QDate:
        return order(left.toDate(), right.toDate());
    case QMetaType::QTime:
        return order(left.toTime(), right.toTime());
    case QMetaType::QDateTime:
        return order(left.toDateTime(), right.toDateTime());
    default:
        return QString::compare(left.toString(), right.toString(), Qt::CaseSensitive);
    }
}

} // namespace

bool HSortFilterProxyModel::lessThan(const QModelIndex& left, const QModelIndex& right) const
{
    const QVariant leftValue = left.model() ? left.data(Qt::DisplayRole) : QVariant();
    const QVariant rightValue = right.model() ? right.data(Qt::DisplayRole) : QVariant();
    const int comparison = compareVariants(leftValue, rightValue);
    if (comparison < 0)
        return true;
    if (comparison == 0 && left.column() != secondarySortColumn_)
        return lessThan(createSecondarySortIndex(left), createSecondarySortIndex(right));
    return false;
}

QModelIndex HSortFilterProxyModel::createSecondarySortIndex(const QModelIndex& index) const
{
    const QAbstractItemModel* model = index.model();
    return model ? model->index(index.row(), secondarySortColumn_, QModelIndex()) : QModelIndex();
}
