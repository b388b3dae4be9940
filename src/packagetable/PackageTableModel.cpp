#include "packagetable/PackageTableModel.h"

#include "app/Share.h"
#include "packagetable/PackageTableDescribeDialog.h"
#include "repo/RepoBrowse.h"
#include "repo/YumConfIO.h"
#include "widgets/Colors.h"
#include "yumio/AdvisoryStore.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QColor>
#include <QCoreApplication>

namespace PackageTable {

namespace {

QIcon shareIcon(const char* name)
{
    return QIcon(Share::absolute(QString::fromLatin1(name)));
}

// The actions that go to another version of an installed package have no box icon:
// the Action cell names them instead.
bool isVersionAction(int action)
{
    return action == Package::Downgrade || action == Package::Reinstall;
}

QString versionActionText(const Package::Entry& e)
{
    if (e.action == Package::Downgrade)
        return QCoreApplication::translate("PackageTable::Model", "Downgrade to %1").arg(e.targetVerRel);
    return Package::actionText(e.action);
}

QColor versionActionColor(int action, bool enabled)
{
    QColor color(action == Package::Downgrade ? QStringLiteral("darkorange") : QStringLiteral("teal"));
    if (!enabled)
        color.setAlpha(128);
    return color;
}

} // namespace

Model::Model(YumIO* yumIO, QObject* parent)
    : HAbstractTableModel(parent)
    , yumIO_(yumIO)
    , outOfDateIcon_(shareIcon("icons/out-of-date.png"))
    , upToDateIcon_(shareIcon("icons/up-to-date.png"))
    , securityIcon_(shareIcon("icons/out-of-date-security.png"))
    , noneBoxIcon_(shareIcon("icons/noneBox.png"))
    , updateBoxIcon_(shareIcon("icons/updateBox.png"))
    , installBoxIcon_(shareIcon("icons/installBox.png"))
    , removeBoxIcon_(shareIcon("icons/removeBox.png"))
    , suiteIcon_(shareIcon("icons/suite.png"))
    , groupIcon_(shareIcon("icons/group.png"))
    , packageIcon_(shareIcon("icons/package.png"))
    , errorColor_(Colors::error())
    , errorDisabledColor_(Colors::errorDisabled())
    , minorColor_(Colors::minor())
    , minorDisabledColor_(Colors::minorDisabled())
{
    qRegisterMetaType<Package::Entry*>("Package::Entry*");
}

Model::~Model()
{
    delete describeDialog_;
}

// Sorting asks for two indices per comparison: no detour through the virtual counts.
QModelIndex Model::index(int row, int column, const QModelIndex& parent) const
{
    if (parent.isValid() || !yumIO_ || row < 0 || column < 0 || column >= ColumnCount
        || row >= yumIO_->count())
        return QModelIndex();
    return createIndex(row, column);
}

int Model::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() || !yumIO_ ? 0 : yumIO_->count();
}

int Model::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(ColumnCount);
}

Package::Entry* Model::entry(int row) const
{
    if (!yumIO_ || row < 0 || row >= yumIO_->count())
        return nullptr;
    return (*yumIO_)[row];
}

bool Model::validRow(const QModelIndex& index) const
{
    return yumIO_ && index.isValid() && index.row() < yumIO_->count();
}

Package::State Model::getState(int row) const
{
    const Package::Entry* e = entry(row);
    return e ? e->state : Package::Installed;
}

QString Model::displayText(const Package::Entry& entry, int column)
{
    switch (column) {
    case NameColumn:
        return entry.name;
    case VersionColumn: {
        // More versions than the obvious ones: an update always has the installed version
        // it updates behind it.
        const int obvious = entry.state == Package::AvailableForUpdate ? 1 : 0;
        int further = 0;
        for (const Package::Entry* next = entry.next; next && further <= obvious; next = next->next)
            ++further;
        if (further > obvious)
            return entry.verRel + QStringLiteral(" *");
        return entry.verRel;
    }
    case RepositoryColumn:
        return entry.repo;
    case ArchitectureColumn:
        return entry.arch;
    case SizeColumn:
        return entry.sizeText;
    case BuildTimeColumn:
        return entry.buildTimeText;
    default:
        return QString();
    }
}

QVariant Model::data(const QModelIndex& index, int role) const
{
    if (!validRow(index) || index.column() >= ColumnCount || role > Qt::UserRole)
        return QVariant();
    const Package::Entry* e = (*yumIO_)[index.row()];
    if (!e)
        return QVariant();
    const int column = index.column();
    switch (role) {
    case Qt::DisplayRole:
        if (column == ActionColumn && isVersionAction(e->action))
            return versionActionText(*e);
        if (column < NameColumn)
            return QVariant();
        return displayText(*e, column);
    case Qt::DecorationRole:
        if (column == ActionColumn) {
            switch (e->action) {
            case Package::Update:
                return updateBoxIcon_;
            case Package::Install:
                return installBoxIcon_;
            case Package::Remove:
                return removeBoxIcon_;
            case Package::None:
                return noneBoxIcon_;
            default:
                return QVariant();
            }
        } else if (column == StateColumn) {
            switch (e->state) {
            case Package::AvailableForUpdate:
                return yumIO_->advisories().fixesSecurity(e) ? securityIcon_ : outOfDateIcon_;
            case Package::Installed:
                return upToDateIcon_;
            case Package::AvailableForInstallation:
                return emptyIcon_;
            }
        } else if (column == KindColumn) {
            switch (e->kind) {
            case Package::Suite:
                return suiteIcon_;
            case Package::Group:
                return groupIcon_;
            case Package::Ordinary:
                return packageIcon_;
            }
        }
        return QVariant();
    case Qt::ToolTipRole:
        if (column == ActionColumn) {
            switch (e->action) {
            case Package::Update:
                return tr("Update package");
            case Package::Install:
                return tr("Install package");
            case Package::Remove:
                return tr("Remove package");
            case Package::None:
                return QVariant();
            case Package::Downgrade:
                return tr("Downgrade package to %1").arg(e->targetVerRel);
            case Package::Reinstall:
                return tr("Reinstall package");
            }
        } else if (column == StateColumn) {
            switch (e->state) {
            case Package::AvailableForUpdate: {
                QString tip = tr("Package is available to update an out-of-date version");
                // The advisories the update fixes, one a line.
                for (const Advisory::Record* advisory : yumIO_->advisories().fixes(e))
                    tip += QLatin1Char('\n') + advisory->line();
                return tip;
            }
            case Package::AvailableForInstallation:
                return tr("Package is available for installation");
            case Package::Installed:
                return tr("Package is installed and up-to-date");
            }
        } else if (column == KindColumn) {
            switch (e->kind) {
            case Package::Suite:
                return tr("Suite of packages");
            case Package::Group:
                return tr("Group of packages");
            case Package::Ordinary:
                return tr("Ordinary package");
            }
        } else if (column == VersionColumn) {
            QString tip;
            for (const Package::Entry* link = e; link; link = link->next) {
                if (link->state == Package::Installed)
                    tip += tr("Installed: %1\n").arg(link->verRel);
                else
                    tip += tr("Available: %1\n").arg(link->verRel);
            }
            return tip.trimmed();
        } else if (column == RepositoryColumn && yumConfIO_) {
            // The repository's name, as the package manager shows it.
            for (const Repo::Entry& repo : yumConfIO_->repos()) {
                if (repo.id == e->repo)
                    return yumConfIO_->substituted(repo.name);
            }
        }
        return QVariant();
    case Qt::ForegroundRole: {
        if (column == ActionColumn && isVersionAction(e->action))
            return versionActionColor(e->action, enabled_);
        if (column < KindColumn)
            return QVariant();
        QColor color;
        switch (e->state) {
        case Package::AvailableForUpdate:
            color = enabled_ ? errorColor_ : errorDisabledColor_;
            break;
        case Package::AvailableForInstallation:
            color = enabled_ ? minorColor_ : minorDisabledColor_;
            break;
        case Package::Installed:
            color = enabled_ ? defaultColor_ : defaultDisabledColor_;
            break;
        }
        // The invalid colour means the view's own.
        return color.isValid() ? QVariant(color) : QVariant();
    }
    case Qt::UserRole:
        switch (column) {
        case ActionColumn:
            return int(e->action);
        case StateColumn:
            return int(e->state);
        case KindColumn:
            return int(e->kind);
        case SizeColumn:
            return quint64(e->size);
        case BuildTimeColumn:
            return qint64(e->buildTime);
        default:
            return QVariant::fromValue(const_cast<Package::Entry*>(e));
        }
    default:
        return QVariant();
    }
}

QVariant Model::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return QVariant();
    if (role == Qt::DisplayRole) {
        switch (section) {
        case ActionColumn:
            return tr("Action");
        case StateColumn:
            return tr("State");
        case KindColumn:
            return tr("Kind");
        case NameColumn:
            return tr("Name");
        case VersionColumn:
            return tr("Version");
        case RepositoryColumn:
            return tr("Repository");
        case ArchitectureColumn:
            return tr("Architecture");
        case SizeColumn:
            return tr("Size");
        case BuildTimeColumn:
            return tr("Build Time");
        }
    } else if (role == Qt::ToolTipRole) {
        switch (section) {
        case ActionColumn:
            return tr("Action to be performed on the package, if any: Update, Install, Remove");
        case StateColumn:
            return tr("Indicates whether the package is Installed or not and, if installed, "
                      "whether it is Up-to-date or not");
        case KindColumn:
            return tr("Whether the package is an ordinary package, a suite of packages, or a "
                      "group of packages");
        case NameColumn:
            return tr("Name of the package");
        case VersionColumn:
            return tr("Version and release of the package as version-release;\n"
                      "If the Epoch is non-zero, includes it as epoch:version-release");
        case RepositoryColumn:
            return tr("Repository from which the most recent version of the package is available");
        case ArchitectureColumn:
            return tr("Architecture for which the package is applicable, or \"noarch\" for "
                      "general-purpose packages");
        case SizeColumn:
            return tr("Size of the package");
        case BuildTimeColumn:
            return tr("Date and time at which the package was created");
        }
    }
    return QVariant();
}

void Model::changeAction(int row, Package::Entry& e, Package::Action action)
{
    e.action = action;
    e.targetVerRel.clear();
    const QModelIndex cell = index(row, ActionColumn);
    Q_EMIT dataChanged(cell, cell);
}

void Model::setAction(const QModelIndex& index, Package::Action action)
{
    if (!validRow(index) || index.column() >= ColumnCount)
        return;
    if (Package::Entry* e = entry(index.row()))
        changeAction(index.row(), *e, action);
}

void Model::setVersionAction(const QModelIndex& index, Package::Action action, const QString& verRel)
{
    if (!validRow(index) || index.column() >= ColumnCount)
        return;
    if (Package::Entry* e = entry(index.row())) {
        changeAction(index.row(), *e, action);
        e->targetVerRel = verRel;
    }
}

void Model::toggleAction(const QModelIndex& index)
{
    if (!validRow(index))
        return;
    Package::Entry* e = entry(index.row());
    if (!e)
        return;
    Package::Action next = Package::None;
    if (e->state == Package::AvailableForUpdate && e->action == Package::None)
        next = Package::Update;
    else if (e->state == Package::AvailableForUpdate && e->action == Package::Update)
        next = Package::Remove;
    else if (e->state == Package::AvailableForInstallation && e->action == Package::None)
        next = Package::Install;
    else if (e->state == Package::Installed && e->action == Package::None)
        next = Package::Remove;
    changeAction(index.row(), *e, next);
}

void Model::setSelected(const QModelIndexList& indices)
{
    for (const QModelIndex& index : indices) {
        if (!validRow(index))
            continue;
        Package::Entry* e = entry(index.row());
        if (!e)
            continue;
        if (e->state == Package::AvailableForUpdate)
            changeAction(index.row(), *e, Package::Update);
        else if (e->state == Package::AvailableForInstallation)
            changeAction(index.row(), *e, Package::Install);
    }
}

void Model::clearActions()
{
    const int rows = rowCount();
    for (int row = 0; row < rows; ++row) {
        Package::Entry* e = (*yumIO_)[row];
        if (e && e->action != Package::None)
            changeAction(row, *e, Package::None);
    }
}

void Model::describe(const QModelIndex& index, QWidget* parent)
{
    if (!validRow(index))
        return;
    const Package::Entry* e = entry(index.row());
    if (!e)
        return;
    if (!describeDialog_)
        describeDialog_ = new Describe::Dialog(parent);
    describeDialog_->config(yumIO_, *e, yumConfIO_);
    describeDialog_->exec();
}

void Model::browse(const QModelIndex& index, QWidget* parent)
{
    if (!validRow(index) || !yumConfIO_)
        return;
    if (const Package::Entry* e = entry(index.row()))
        RepoBrowse::browse(parent, e->repo, yumIO_, *yumConfIO_);
}

void Model::reset()
{
    beginResetModel();
    ++generation_;
    endResetModel();
}

} // namespace PackageTable

namespace PackageTable {

void Model::detachEngine()
{
    beginResetModel();
    yumIO_ = nullptr;
    ++generation_;
    endResetModel();
}

} // namespace PackageTable
