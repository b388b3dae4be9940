#include "repo/RepoEditorSortFilterProxyModel.h"

#include "repo/RepoEditorModel.h"

#include <limits>

namespace RepoEditor {

namespace {

QStringView run(const QString& text, int& position, bool digits)
{
    const int start = position;
    while (position < text.size() && (text.at(position) >= QLatin1Char('0') && text.at(position) <= QLatin1Char('9')) == digits)
        ++position;
    return QStringView(text).mid(start, position - start);
}

// Saturates rather than wrapping, so that a longer run never counts as smaller.
quint64 number(QStringView digits)
{
    quint64 value = 0;
    for (const QChar digit : digits) {
        const quint64 next = quint64(digit.unicode() - '0');
        if (value > (std::numeric_limits<quint64>::max() - next) / 10)
            return std::numeric_limits<quint64>::max();
        value = value * 10 + next;
    }
    return value;
}

} // namespace

SortFilterProxyModel::SortFilterProxyModel(QObject* parent) : QSortFilterProxyModel(parent)
{
}

bool SortFilterProxyModel::naturalLessThan(const QString& left, const QString& right)
{
    int l = 0;
    int r = 0;
    while (l < left.size() || r < right.size()) {
        const QStringView leftText = run(left, l, false);
        const QStringView rightText = run(right, r, false);
        if (leftText != rightText)
            return leftText < rightText;
        const quint64 leftNumber = number(run(left, l, true));
        const quint64 rightNumber = number(run(right, r, true));
        if (leftNumber != rightNumber)
            return leftNumber < rightNumber;
    }
    return false;
}

bool SortFilterProxyModel::lessThan(const QModelIndex& left, const QModelIndex& right) const
{
    if (left.column() == Model::IdColumn || left.column() == Model::NameColumn) {
        const QVariant leftValue = left.data();
        const QVariant rightValue = right.data();
        if (leftValue.userType() == QMetaType::QString && rightValue.userType() == QMetaType::QString)
            return naturalLessThan(leftValue.toString(), rightValue.toString());
    }
    return QSortFilterProxyModel::lessThan(left, right);
}

} // namespace RepoEditor
