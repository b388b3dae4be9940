#include "packagetable/PackageTableSortFilterProxyModel.h"

#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableSearchRun.h"
#include "yumio/AdvisoryStore.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"
#include "yumio/YumIOSearchIndex.h"

#include <QHash>
#include <QRegularExpression>
#include <QTimer>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>

namespace PackageTable {

namespace {

QString stripped(QString text)
{
    const QString any = QStringLiteral(".*");
    while (text.startsWith(any))
        text.remove(0, 2);
    while (text.endsWith(any))
        text.chop(2);
    return text;
}

// Whether an extended expression is a plain text, matching wherever it occurs.
bool isLiteral(const QByteArray& pattern)
{
    for (const char c : pattern) {
        if (std::strchr(".[]()*+?{}|^$\\", c))
            return false;
    }
    return !pattern.isEmpty();
}

} // namespace

SortFilterProxyModel::SortFilterProxyModel(StateFilter stateFilter, bool dups, bool groups,
                                           YumIO* yumIO, QObject* parent)
    : HSortFilterProxyModel(Model::NameColumn, parent)
    , stateFilter_(stateFilter)
    , dups_(dups)
    , groups_(groups)
    , yumIO_(yumIO)
    , run_(new SearchRun(this))
    , applyTimer_(new QTimer(this))
{
    // Matches arrive by the chunk; the listing takes them in a few times a second rather
    // than each time, since every update walks all rows: a quick search is listed once.
    applyTimer_->setSingleShot(true);
    applyTimer_->setInterval(120);
    connect(applyTimer_, &QTimer::timeout, this, &SortFilterProxyModel::applyFound);
    connect(run_, &SearchRun::found, this, &SortFilterProxyModel::searchFound);
    connect(run_, &SearchRun::finished, this, &SortFilterProxyModel::endSearch);
}

// The compiled expression lives as long as the window; only the cache is released.
SortFilterProxyModel::~SortFilterProxyModel() = default;

void SortFilterProxyModel::setSourceModel(HAbstractTableModel* model)
{
    if (source_)
        disconnect(source_, &QAbstractItemModel::modelAboutToBeReset, this,
                   &SortFilterProxyModel::clearCache);
    source_ = model;
    model_ = qobject_cast<Model*>(model);
    // What was kept for the old source's catalogue says nothing about the new one's.
    filterOffsets_.clear();
    rowFlags_.clear();
    for (std::vector<int>& keys : sortKeys_)
        keys.clear();
    HSortFilterProxyModel::setSourceModel(model);
    if (source_)
        connect(source_, &QAbstractItemModel::modelAboutToBeReset, this,
                &SortFilterProxyModel::clearCache);
}

void SortFilterProxyModel::setMode(Mode mode)
{
    if (mode == mode_)
        return;
    mode_ = mode;
    clear();
}

void SortFilterProxyModel::setStateFilter(StateFilter stateFilter)
{
    if (stateFilter == stateFilter_)
        return;
    stateFilter_ = stateFilter;
    clear();
}

void SortFilterProxyModel::setDupsFilter(bool dups)
{
    if (dups == dups_)
        return;
    dups_ = dups;
    clear();
}

void SortFilterProxyModel::setGroupsFilter(bool groups)
{
    if (groups == groups_)
        return;
    groups_ = groups;
    clear();
}

void SortFilterProxyModel::setSecurityFilter(bool securityOnly)
{
    if (securityOnly == securityOnly_)
        return;
    securityOnly_ = securityOnly;
    clear();
}

void SortFilterProxyModel::setFilter(bool filter)
{
    if (filter == filtering_)
        return;
    filtering_ = filter;
    clear();
}

void SortFilterProxyModel::clear()
{
    clearCache();
    HSortFilterProxyModel::clear();
}

void SortFilterProxyModel::clearCache()
{
    holdAnswers_ = false;
    cache_.clear();
    cachedRows_ = 0;
    searchStale_ = true;
    run_->cancel();
    applyTimer_->stop();
}

void SortFilterProxyModel::setFilterRegExp(const QString& text)
{
    const QString pattern = stripped(text);
    if (regexResult_ == 0)
        regfree(&regex_);
    const QByteArray bytes = pattern.toUtf8();
    regexResult_ = regcomp(&regex_, bytes.constData(), REG_EXTENDED | REG_NOSUB);
    literal_ = regexResult_ == 0 && isLiteral(bytes);
    literalText_ = bytes;
    pattern_ = bytes;
    expressionError_.clear();
    if (regexResult_ != 0) {
        char text[256];
        regerror(regexResult_, &regex_, text, sizeof text);
        expressionError_ = QString::fromLocal8Bit(text);
    }

    const QRegularExpression expression(pattern);
    // The cache is cleared when the expression differs, by the source's reset that the
    // base operation brings; until then the old answers spare the base a row-by-row
    // update of a mapping about to be dropped.
    holdAnswers_ = expression.pattern() != filterRegularExpression().pattern();
    emptyExpression_ = pattern.isEmpty();
    HSortFilterProxyModel::setFilterRegExp(expression);
    if (holdAnswers_) {
        clearCache();
        invalidateFilter();
    }

    if (!source_)
        return;
    // A search through the index keeps no per-row cache to fill: it only starts.
    if (usableIndex()) {
        if (searchStale_)
            startSearch();
        return;
    }
    const int rows = source_->rowCount();
    for (int row = 0; row < rows; ++row)
        filterAcceptsRow(row, QModelIndex());
}

// An expression that does not compile matches nothing: it is shown as wrong rather
// than listing everything.
bool SortFilterProxyModel::matchesBytes(const char* text, qsizetype length) const
{
    if (regexResult_ != 0)
        return false;
    if (literal_)
        return std::string_view(text, size_t(length)).find(std::string_view(
                   literalText_.constData(), size_t(literalText_.size())))
            != std::string_view::npos;
    return regexec(&regex_, text, 0, nullptr, 0) == 0;
}

bool SortFilterProxyModel::matches(const QString& text) const
{
    if (regexResult_ != 0)
        return false;
    const std::string bytes = text.toStdString();
    return matchesBytes(bytes.c_str(), qsizetype(bytes.size()));
}

bool SortFilterProxyModel::filterAcceptsRow(int row, const QModelIndex& parent) const
{
    if (!filtering_)
        return true;
    // Searches through the index answer from what the running match found so far.
    if (usableIndex()) {
        if (searchStale_)
            startSearch();
        return size_t(row) < found_.size() && found_[size_t(row)];
    }
    Package::Entry* entry = nullptr;
    if (model_)
        entry = model_->entry(row);
    else if (source_)
        entry = source_->index(row, Model::NameColumn, parent).data(Qt::UserRole)
                    .value<Package::Entry*>();
    if (row < 0)
        return acceptRow(entry, row, parent);
    if (size_t(row) >= cache_.size())
        cache_.resize(qMax(size_t(row) + 1, size_t(model_ ? model_->rowCount() : 0)));
    CachedRow& cached = cache_[size_t(row)];
    if (cached.entry && cached.entry == entry)
        return cached.accepted;
    const bool accepted = acceptRow(entry, row, parent);
    if (!cached.entry)
        ++cachedRows_;
    cached = {entry, accepted};
    return accepted;
}

namespace {

// What the settings look at, one byte a row: state, kind, duplicate.
quint8 rowFlags(const Package::Entry& entry)
{
    return quint8(int(entry.state) | int(entry.kind) << 2 | (entry.duplicate ? 0x10 : 0));
}

} // namespace

bool SortFilterProxyModel::acceptRow(Package::Entry* entry, int row, const QModelIndex& parent) const
{
    Q_UNUSED(parent);
    if (!entry || !settingsAccept(*entry, row))
        return false;
    if (emptyExpression_)
        return true;
    if (mode_ == Filter)
        return filterModeAccepts(*entry, row);
    return searchModeAccepts(*entry);
}

bool SortFilterProxyModel::settingsAccept(const Package::Entry& e, int row) const
{
    const Package::Entry* entry = &e;
    // The settings' part is read from a byte a row kept for the catalogue: every setting
    // walks all rows, and entries lie scattered in memory.
    quint8 flags;
    if (model_ && row >= 0 && row < model_->rowCount() && model_->entry(row) == entry) {
        if (rowFlagsGeneration_ != model_->catalogueGeneration()
            || rowFlags_.size() != size_t(model_->rowCount())) {
            rowFlags_.resize(size_t(model_->rowCount()));
            for (int r = 0; r < model_->rowCount(); ++r)
                rowFlags_[size_t(r)] = rowFlags(*model_->entry(r));
            rowFlagsGeneration_ = model_->catalogueGeneration();
        }
        flags = rowFlags_[size_t(row)];
    } else {
        flags = rowFlags(*entry);
    }
    const int state = flags & 0x3;
    switch (stateFilter_) {
    case Updatable:
        if (state != Package::AvailableForUpdate)
            return false;
        break;
    case Installable:
        if (state != Package::AvailableForInstallation)
            return false;
        break;
    case Removable:
        if (state == Package::AvailableForInstallation)
            return false;
        break;
    case All:
        break;
    }
    if (!dups_ && (flags & 0x10))
        return false;
    // Suites stay listed: only groups follow the setting.
    if (!groups_ && ((flags >> 2) & 0x3) == Package::Group)
        return false;
    if (securityOnly_ && !(yumIO_ && yumIO_->advisories().fixesSecurity(entry)))
        return false;
    return true;
}

bool SortFilterProxyModel::filterModeAccepts(const Package::Entry& entry, int row) const
{
    if (regexResult_ != 0)
        return false;
    if (!model_) {
        QStringList texts;
        for (int column = Model::NameColumn; column <= Model::BuildTimeColumn; ++column)
            texts.append(source_->index(row, column).data(Qt::DisplayRole).toString());
        return matches(texts.join(QLatin1Char(' ')));
    }
    Q_UNUSED(entry);
    // The joined texts change only with the catalogue: built once per catalogue, all in
    // one buffer, so that every later filter reads them in order.
    if (filterTextsGeneration_ != model_->catalogueGeneration()
        || filterOffsets_.size() != size_t(model_->rowCount()) + 1)
        buildFilterTexts();
    const size_t begin = filterOffsets_[size_t(row)];
    const size_t end = filterOffsets_[size_t(row) + 1];
    // Each text ends with a null, which the length leaves out.
    return matchesBytes(filterBytes_.data() + begin, qsizetype(end - begin - 1));
}

namespace {

// Appends text in UTF-8, without a detour through a new byte array for the usual ASCII.
void appendUtf8(std::vector<char>& bytes, const QString& text)
{
    const QChar* chars = text.constData();
    const qsizetype size = text.size();
    qsizetype i = 0;
    while (i < size && chars[i].unicode() < 0x80)
        ++i;
    if (i == size) {
        for (qsizetype j = 0; j < size; ++j)
            bytes.push_back(char(chars[j].unicode()));
        return;
    }
    const QByteArray utf8 = text.toUtf8();
    bytes.insert(bytes.end(), utf8.constData(), utf8.constData() + utf8.size());
}

} // namespace

void SortFilterProxyModel::buildFilterTexts() const
{
    const int rows = model_->rowCount();
    filterBytes_.clear();
    filterBytes_.reserve(size_t(rows) * 96);
    filterOffsets_.assign(size_t(rows) + 1, 0);
    for (int row = 0; row < rows; ++row) {
        filterOffsets_[size_t(row)] = filterBytes_.size();
        const Package::Entry& e = *model_->entry(row);
        for (int column = Model::NameColumn; column <= Model::BuildTimeColumn; ++column) {
            if (column != Model::NameColumn)
                filterBytes_.push_back(' ');
            appendUtf8(filterBytes_, column == Model::NameColumn ? e.name : Model::displayText(e, column));
        }
        filterBytes_.push_back('\0');
    }
    filterOffsets_[size_t(rows)] = filterBytes_.size();
    filterTextsGeneration_ = model_->catalogueGeneration();
}

QStringList SortFilterProxyModel::searchField(const Package::Entry& entry, int field) const
{
    return YumIOSearchIndex::fieldTexts(*yumIO_, entry, field);
}

bool SortFilterProxyModel::searchModeAccepts(const Package::Entry& entry) const
{
    const int fields = YumIOSearchIndex::fieldCount(entry);
    // In order, and each field only when every earlier one failed: the file list and the
    // change log are by far the dearest.
    for (int field = 0; field < fields; ++field) {
        const QStringList texts = searchField(entry, field);
        for (const QString& text : texts) {
            if (matches(text))
                return true;
        }
    }
    return false;
}

const YumIOSearchIndex* SortFilterProxyModel::usableIndex() const
{
    if (mode_ != Search || emptyExpression_ || regexResult_ != 0 || !model_ || !yumIO_)
        return nullptr;
    const YumIOSearchIndex* index = yumIO_->searchIndex().get();
    if (!index)
        return nullptr;
    const int rows = model_->rowCount();
    if (rowIndexOf_.get() != index || rowIndexGeneration_ != model_->catalogueGeneration()
        || rowIndex_.size() != size_t(rows)) {
        rowIndexOf_ = yumIO_->searchIndex();
        rowIndexGeneration_ = model_->catalogueGeneration();
        QHash<const Package::Entry*, int> positions;
        positions.reserve(index->count());
        for (int at = 0; at < index->count(); ++at)
            positions.insert(index->entry(at), at);
        rowIndex_.assign(size_t(rows), -1);
        rowIndexComplete_ = true;
        for (int row = 0; row < rows; ++row) {
            rowIndex_[size_t(row)] = positions.value(model_->entry(row), -1);
            rowIndexComplete_ = rowIndexComplete_ && rowIndex_[size_t(row)] >= 0;
        }
    }
    // A row the index does not know (an entry added since) leaves the search to the
    // engine's getters.
    return rowIndexComplete_ ? index : nullptr;
}

void SortFilterProxyModel::startSearch() const
{
    searchStale_ = false;
    newlyFound_ = 0;
    const int rows = model_->rowCount();
    found_.assign(size_t(rows), 0);
    std::vector<SearchRun::Candidate> candidates;
    candidates.reserve(size_t(rows));
    for (int row = 0; row < rows; ++row) {
        if (settingsAccept(*model_->entry(row), row))
            candidates.emplace_back(row, rowIndex_[size_t(row)]);
    }
    run_->start(yumIO_->searchIndex(), std::move(candidates), pattern_);
}

bool SortFilterProxyModel::searching() const
{
    return run_->running();
}

void SortFilterProxyModel::searchFound(const QList<int>& rows)
{
    for (const int row : rows) {
        if (size_t(row) < found_.size())
            found_[size_t(row)] = 1;
    }
    newlyFound_ += rows.size();
    if (!applyTimer_->isActive())
        applyTimer_->start();
}

void SortFilterProxyModel::applyFound()
{
    // Rows found are inserted one range at a time, which for tens of thousands of rows
    // costs more than filtering and sorting the whole listing afresh.
    if (newlyFound_ > 4096)
        invalidate();
    else if (newlyFound_ > 0)
        invalidateRowsFilter();
    newlyFound_ = 0;
}

void SortFilterProxyModel::endSearch()
{
    applyTimer_->stop();
    applyFound();
    Q_EMIT searchFinished();
}

void SortFilterProxyModel::setUpdateListed(bool securityFixesOnly)
{
    for (int row = 0; row < rowCount(); ++row) {
        const QModelIndex proxyIndex = index(row, Model::ActionColumn);
        const QModelIndex sourceIndex = mapToSource(proxyIndex);
        Package::Entry* entry = model_ ? model_->entry(sourceIndex.row())
                                       : sourceIndex.siblingAtColumn(Model::NameColumn)
                                             .data(Qt::UserRole).value<Package::Entry*>();
        if (entry && entry->state == Package::AvailableForUpdate
            && (!securityFixesOnly || (yumIO_ && yumIO_->advisories().fixesSecurity(entry)))) {
            entry->action = Package::Update;
            Q_EMIT dataChanged(proxyIndex, proxyIndex);
        }
    }
}

const std::vector<int>* SortFilterProxyModel::sortKeys(int column) const
{
    if (!model_)
        return nullptr;
    std::vector<int>& keys = sortKeys_[column];
    // Rows change only with the catalogue, whose every rebuild is a new generation.
    if (sortKeysGeneration_ == model_->catalogueGeneration() && !keys.empty())
        return &keys;
    // Other columns break ties by name.
    if (column != Model::NameColumn)
        sortKeys(Model::NameColumn);
    const int rows = model_->rowCount();
    if (sortKeysGeneration_ != model_->catalogueGeneration()
        || sortKeys_[Model::NameColumn].size() != size_t(rows)) {
        for (std::vector<int>& built : sortKeys_)
            built.clear();
        sortKeysGeneration_ = model_->catalogueGeneration();
    }
    keys.resize(size_t(rows));
    switch (column) {
    case Model::StateColumn:
    case Model::KindColumn:
    case Model::SizeColumn:
    case Model::BuildTimeColumn:
        for (int row = 0; row < rows; ++row) {
            const Package::Entry* e = model_->entry(row);
            switch (column) {
            case Model::StateColumn:
                keys[size_t(row)] = int(e->state);
                break;
            case Model::KindColumn:
                keys[size_t(row)] = int(e->kind);
                break;
            case Model::SizeColumn:
                // The variant's int conversion wraps sizes of 2 GiB and more; kept so.
                keys[size_t(row)] = int(quint64(e->size));
                break;
            default:
                keys[size_t(row)] = int(qint64(e->buildTime));
                break;
            }
        }
        break;
    default: {
        // Texts become their ranks in code-unit order, equal texts sharing one: every
        // later comparison is one of two integers.  The texts go into one buffer, so
        // that ranking does not chase 70,000 scattered strings.
        std::vector<char16_t> buffer;
        std::vector<std::pair<size_t, size_t>> spans(static_cast<size_t>(rows));
        for (int row = 0; row < rows; ++row) {
            const Package::Entry* e = model_->entry(row);
            const QString text = column == Model::NameColumn ? e->name : Model::displayText(*e, column);
            spans[size_t(row)] = {buffer.size(), size_t(text.size())};
            buffer.insert(buffer.end(), reinterpret_cast<const char16_t*>(text.utf16()),
                          reinterpret_cast<const char16_t*>(text.utf16()) + text.size());
        }
        auto view = [&](int row) {
            const auto& span = spans[size_t(row)];
            return std::u16string_view(buffer.data() + span.first, span.second);
        };
        std::vector<int> order(static_cast<size_t>(rows));
        for (int row = 0; row < rows; ++row)
            order[size_t(row)] = row;
        std::sort(order.begin(), order.end(), [&](int a, int b) { return view(a) < view(b); });
        int rank = 0;
        for (size_t i = 0; i < order.size(); ++i) {
            if (i > 0 && view(order[i - 1]) != view(order[i]))
                ++rank;
            keys[size_t(order[i])] = rank;
        }
        break;
    }
    }
    if (column != Model::NameColumn) {
        // The column's value and the name become one rank, so that a comparison during
        // a sort is one of two integers.
        const std::vector<int>& names = sortKeys_[Model::NameColumn];
        std::vector<int> order(static_cast<size_t>(rows));
        std::iota(order.begin(), order.end(), 0);
        const auto pair = [&](int row) { return std::make_pair(keys[size_t(row)], names[size_t(row)]); };
        std::sort(order.begin(), order.end(), [&](int a, int b) { return pair(a) < pair(b); });
        std::vector<int> ranks(static_cast<size_t>(rows));
        int rank = 0;
        for (size_t i = 0; i < order.size(); ++i) {
            if (i > 0 && pair(order[i - 1]) != pair(order[i]))
                ++rank;
            ranks[size_t(order[i])] = rank;
        }
        keys.swap(ranks);
    }
    return &keys;
}

bool SortFilterProxyModel::lessThan(const QModelIndex& left, const QModelIndex& right) const
{
    const int column = left.column();
    const bool numeric = column == Model::ActionColumn || column == Model::StateColumn
        || column == Model::KindColumn || column == Model::SizeColumn
        || column == Model::BuildTimeColumn;
    if (!numeric && (column < Model::NameColumn || column > Model::ArchitectureColumn))
        return HSortFilterProxyModel::lessThan(left, right);
    if (!left.model() || !right.model())
        return numeric ? false : HSortFilterProxyModel::lessThan(left, right);

    // The package model's rows are compared through keys made once per catalogue:
    // sorting 70,000 rows through variants and scattered strings takes seconds.  The
    // order is the one the variants and texts give.
    if (model_ && left.model() == model_ && right.model() == model_) {
        // Checked here rather than in sortKeys(): this runs a million times a sort.
        const bool keyed = column != Model::ActionColumn && column != Model::NameColumn;
        if (sortKeysGeneration_ != model_->catalogueGeneration()
            || sortKeys_[Model::NameColumn].empty() || (keyed && sortKeys_[column].empty())) {
            sortKeys(Model::NameColumn);
            if (keyed)
                sortKeys(column);
        }
        const size_t l = size_t(left.row());
        const size_t r = size_t(right.row());
        // Keys of a catalogue that grew without a reset are rebuilt rather than overrun.
        if (l >= sortKeys_[Model::NameColumn].size() || r >= sortKeys_[Model::NameColumn].size()) {
            sortKeysGeneration_ = ~quint64(0);
            sortKeys(Model::NameColumn);
            if (keyed)
                sortKeys(column);
        }
        if (column == Model::ActionColumn) {
            // Actions change between sorts; they are read as they stand.
            const int a = int(model_->entry(left.row())->action);
            const int b = int(model_->entry(right.row())->action);
            if (a != b)
                return a < b;
        } else if (keyed) {
            const int* keys = sortKeys_[column].data();
            return keys[l] < keys[r];
        }
        const int* names = sortKeys_[Model::NameColumn].data();
        return names[l] < names[r];
    }
    if (!numeric)
        return HSortFilterProxyModel::lessThan(left, right);
    const int a = left.data(Qt::UserRole).toInt();
    const int b = right.data(Qt::UserRole).toInt();
    if (a < b)
        return true;
    if (a > b)
        return false;
    return lessThan(createSecondarySortIndex(left), createSecondarySortIndex(right));
}

} // namespace PackageTable
