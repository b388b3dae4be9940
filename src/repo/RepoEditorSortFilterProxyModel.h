#pragma once

#include <QSortFilterProxyModel>

class QString;

namespace RepoEditor {

// Sorts identifiers and names naturally, so that "repo2" comes before "repo10".
class SortFilterProxyModel final : public QSortFilterProxyModel
{
    Q_OBJECT
    Q_DISABLE_COPY(SortFilterProxyModel)

public:
    explicit SortFilterProxyModel(QObject* parent = nullptr);

    // Runs of non-digits compare as text, runs of digits as unsigned 64-bit numbers
    // (an empty run as 0), alternately, the first difference deciding.
    static bool naturalLessThan(const QString& left, const QString& right);

protected:
    bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;
};

} // namespace RepoEditor
