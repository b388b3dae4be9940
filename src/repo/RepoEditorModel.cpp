#include "repo/RepoEditorModel.h"

#include "app/Share.h"
#include "repo/RepoBrowse.h"
#include "repo/RepoEntry.h"
#include "repo/YumConfIO.h"

namespace RepoEditor {

Model::Model(YumIO* engine, YumConfIO* yumConfIO, QObject* parent)
    : QAbstractTableModel(parent)
    , engine_(engine)
    , yumConfIO_(yumConfIO)
    , noneBox_(Share::absolute(QStringLiteral("icons/noneBox.png")))
    , checkBox_(Share::absolute(QStringLiteral("icons/checkBox.png")))
{
    setViewFont(QFont());
}

int Model::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(yumConfIO_->repos().size());
}

int Model::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

bool Model::effectiveEnabled(int row) const
{
    const Repo::TriState enabled = yumConfIO_->repos().at(row).enabled;
    return enabled == Repo::Yes || (enabled == Repo::Default && yumConfIO_->mainEnabled());
}

QVariant Model::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount() || index.column() >= ColumnCount)
        return QVariant();
    const Repo::Entry& entry = yumConfIO_->repos().at(index.row());
    const bool used = yumConfIO_->sessionUse().value(entry.id);
    switch (index.column()) {
    case UseColumn:
        if (role == Qt::DecorationRole)
            return used ? checkBox_ : noneBox_;
        if (role == Qt::ToolTipRole)
            return used ? tr("Repository is enabled for this session")
                        : tr("Repository is not enabled for this session");
        break;
    case EnabledColumn:
        if (role == Qt::DecorationRole)
            return effectiveEnabled(index.row()) ? checkBox_ : noneBox_;
        // Chosen by the session use, not by the flag the icon shows: kept so on purpose.
        if (role == Qt::ToolTipRole)
            return used ? tr("Repository is configured to be enabled")
                        : tr("Repository is not configured to be enabled");
        break;
    case IdColumn:
        if (role == Qt::DisplayRole)
            return entry.id.isEmpty() ? tr("(new)") : entry.id;
        if (role == Qt::FontRole && entry.id.isEmpty())
            return italicFont_;
        break;
    case NameColumn:
        if (role == Qt::DisplayRole)
            return entry.name;
        break;
    }
    return QVariant();
}

QVariant Model::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= ColumnCount)
        return QVariant();
    if (role == Qt::DisplayRole) {
        switch (section) {
        case UseColumn: return tr("Sess");
        case EnabledColumn: return tr("Perm");
        case IdColumn: return tr("Identifier");
        case NameColumn: return tr("Name");
        }
    } else if (role == Qt::ToolTipRole) {
        switch (section) {
        case UseColumn:
            return tr("Whether or not the repository is used during this session.\n"
                      "It overrides the persistent Enabled flag in the repository configuration.");
        case EnabledColumn:
            return tr("Whether or not the repository is configured to be enabled by default.\n"
                      "It can be overridden for a particular session.");
        case IdColumn: return tr("Unique identifier for the repository");
        case NameColumn: return tr("Description of the repository");
        }
    }
    return QVariant();
}

bool Model::removeRows(int row, int count, const QModelIndex& parent)
{
    if (parent.isValid() || row < 0 || count < 1 || row + count > rowCount())
        return false;
    beginRemoveRows(QModelIndex(), row, row + count - 1);
    yumConfIO_->repos().remove(row, count);
    endRemoveRows();
    return true;
}

void Model::toggleUse(const QModelIndex& index)
{
    if (!index.isValid() || index.row() >= rowCount())
        return;
    bool& used = yumConfIO_->sessionUse()[yumConfIO_->repos().at(index.row()).id];
    used = !used;
    // The Perm tool tip follows the session use as well.
    Q_EMIT dataChanged(this->index(index.row(), UseColumn), this->index(index.row(), EnabledColumn));
    Q_EMIT useChanged();
}

void Model::toggleEnabled(const QModelIndex& index)
{
    if (!index.isValid() || index.row() >= rowCount())
        return;
    const bool on = effectiveEnabled(index.row());
    yumConfIO_->repos()[index.row()].enabled = on ? Repo::No : Repo::Yes;
    const QModelIndex changed = this->index(index.row(), EnabledColumn);
    Q_EMIT dataChanged(changed, changed);
    Q_EMIT configChanged();
}

int Model::addRow(const Repo::Entry& entry)
{
    const int row = rowCount();
    beginInsertRows(QModelIndex(), row, row);
    yumConfIO_->repos().append(entry);
    endInsertRows();
    return row;
}

void Model::reset()
{
    beginResetModel();
    endResetModel();
}

void Model::dataChanged(int row)
{
    if (row < 0 || row >= rowCount())
        return;
    Q_EMIT dataChanged(index(row, 0), index(row, ColumnCount - 1));
}

void Model::browse(const QModelIndex& index, QWidget* parent)
{
    if (index.isValid() && index.row() < rowCount())
        RepoBrowse::browse(parent, yumConfIO_->repos().at(index.row()), engine_);
}

void Model::setViewFont(const QFont& font)
{
    viewFont_ = font;
    italicFont_ = font;
    italicFont_.setItalic(true);
}

} // namespace RepoEditor
