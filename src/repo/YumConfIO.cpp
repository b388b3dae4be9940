#include "repo/YumConfIO.h"

#include "repo/RepoMessages.h"
#include "repo/YumRepoEnabled.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QStringDecoder>

#include <algorithm>
#include <functional>
#include <memory>
#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray encodedPath(const QString& path)
{
    return QFile::encodeName(path);
}

// A line that is valid UTF-8 is taken as such; any other is taken byte for byte.
QString decodeLine(const QByteArray& bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (utf8.hasError())
        return QString::fromLatin1(bytes);
    return text;
}

QByteArray encodeText(const QString& text)
{
    return text.toLocal8Bit();
}

QString cleanPath(const QString& path)
{
    return path.isEmpty() ? path : QDir::cleanPath(path);
}

// The package manager's reading of a boolean option: these four are off, anything
// else is on.
bool isOff(const QString& value)
{
    const QString word = value.trimmed().toLower();
    return word == QLatin1String("0") || word == QLatin1String("no") || word == QLatin1String("false")
        || word == QLatin1String("off");
}

// A line of white space alone is blank: it neither continues a value nor is one.
bool isBlank(const QString& line)
{
    return line.trimmed().isEmpty();
}

QByteArray joinPath(const QByteArray& root, const QList<QByteArray>& parts)
{
    QByteArray path = root;
    for (const QByteArray& part : parts) {
        if (!path.endsWith('/'))
            path += '/';
        path += part;
    }
    return path;
}

struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};
using DirHandle = std::unique_ptr<DIR, DirCloser>;

QPair<quint64, quint64> fileId(const struct stat& st)
{
    return qMakePair(quint64(st.st_dev), quint64(st.st_ino));
}

bool writeAll(int fd, const QByteArray& data)
{
    const char* p = data.constData();
    qsizetype left = data.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, p, size_t(left));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        p += n;
        left -= n;
    }
    return true;
}

} // namespace

// A configuration file read a byte at a time through a buffer.
class YumConfIO::Input final
{
public:
    Input(int fd, const QString& path) : path(path), fd_(fd) {}
    ~Input() { ::close(fd_); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    static constexpr int End = -1;
    static constexpr int Error = -2;

    // The next byte, End or Error (errnum then holds the error).
    int get()
    {
        if (pos_ == len_) {
            ssize_t n;
            do {
                n = ::read(fd_, buffer_, sizeof buffer_);
            } while (n < 0 && errno == EINTR);
            if (n < 0) {
                errnum = errno;
                return Error;
            }
            if (n == 0)
                return End;
            raw.append(buffer_, n);
            len_ = n;
            pos_ = 0;
        }
        return static_cast<unsigned char>(buffer_[pos_++]);
    }

    const QString path; // as shown in messages
    int errnum = 0;
    QByteArray raw;     // everything read so far

private:
    int fd_;
    char buffer_[16384];
    ssize_t len_ = 0;
    ssize_t pos_ = 0;
};

// A ".repo" file of a repository directory.
struct YumConfIO::RepoFile {
    QString file;       // the path of the managed system
    QString shown;      // the path that messages show
    QByteArray target;  // the file itself, every link followed inside the root
    QByteArray entry;   // the directory entry, itself a link or not
    struct stat st;     // of target
};

YumConfIO::YumConfIO(const QList<YumRepoEnabled>& requests, UseTable& sessionUse,
                     QObject* parent)
    : QObject(parent)
    , requests_(requests)
    , used_(sessionUse)
{
    reposdirs_ << QStringLiteral("/etc/yum/repos.d") << QStringLiteral("/etc/yum.repos.d");
    cachedir_ = QStringLiteral("/var/cache/yum");
}

YumConfIO::~YumConfIO() = default;

QString YumConfIO::root()
{
    const QString value = qEnvironmentVariable("ORVOROOT");
    return value.isEmpty() ? QStringLiteral("/") : QDir::cleanPath(QDir::current().absoluteFilePath(value));
}

QString YumConfIO::inRoot(const QString& path)
{
    // ".." stops at the root, as it does in resolve().
    QStringList parts;
    for (const QString& part : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String("..")) {
            if (!parts.isEmpty())
                parts.removeLast();
        } else if (part != QLatin1String("."))
            parts.append(part);
    }
    const QString base = root();
    return (base == QLatin1String("/") ? QString() : base) + QLatin1Char('/') + parts.join(QLatin1Char('/'));
}

bool YumConfIO::resolve(const QString& path, QByteArray& resolved)
{
    const QByteArray base = encodedPath(root());
    // Still to walk, the next part last; walked, below the root.
    QList<QByteArray> todo = encodedPath(path).split('/');
    std::reverse(todo.begin(), todo.end());
    QList<QByteArray> done;
    int links = 0;
    bool missing = false;
    while (!todo.isEmpty()) {
        const QByteArray part = todo.takeLast();
        if (part.isEmpty() || part == ".")
            continue;
        if (part == "..") {
            if (!done.isEmpty())
                done.removeLast();
            continue;
        }
        done.append(part);
        if (missing)
            continue;
        const QByteArray here = joinPath(base, done);
        struct stat st;
        if (::lstat(here.constData(), &st) != 0) {
            // What follows is created or reported by the caller's own call.
            missing = true;
            continue;
        }
        if (!S_ISLNK(st.st_mode))
            continue;
        if (++links > 40) {
            errno = ELOOP;
            return false;
        }
        QByteArray target(PATH_MAX, '\0');
        const ssize_t n = ::readlink(here.constData(), target.data(), size_t(target.size()));
        if (n < 0)
            return false;
        target.truncate(n);
        done.removeLast();
        if (target.startsWith('/'))
            done.clear();
        QList<QByteArray> parts = target.split('/');
        for (auto it = parts.crbegin(); it != parts.crend(); ++it)
            todo.append(*it);
    }
    resolved = joinPath(base, done);
    return true;
}

QString YumConfIO::fileName() const
{
    static const char* const candidates[] = {"/etc/yum/yum.conf", "/etc/yum.conf",
                                             "/etc/dnf/dnf.conf"};
    for (const char* candidate : candidates) {
        QByteArray path;
        struct stat st;
        if (resolve(QLatin1String(candidate), path) && ::stat(path.constData(), &st) == 0)
            return QLatin1String(candidate);
    }
    return QStringLiteral("/etc/yum.conf");
}

// ---------------------------------------------------------------- reading

bool YumConfIO::read(QWidget* parent)
{
    parent_ = parent;
    cachedir_ = QStringLiteral("/var/cache/yum");
    reposdirs_ = QStringList{QStringLiteral("/etc/yum/repos.d"), QStringLiteral("/etc/yum.repos.d")};
    mainEnabled_ = true;
    mainGpgcheck_ = false;
    mainText_.clear();
    repos_.clear();
    pushedBack_.clear();
    kept_.clear();
    origins_.clear();
    // A file reached twice (through a link) is read once.
    QSet<QPair<quint64, quint64>> readIds;

    const QString mainPath = inRoot(fileName());
    if (!offerMainFile())
        return false;
    QByteArray mainTarget;
    // O_NOFOLLOW: every link was followed inside the root already.
    const int mainFd = resolve(fileName(), mainTarget)
        ? ::open(mainTarget.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW)
        : -1;
    if (mainFd < 0) {
        error(tr("Unable to read yum configuration file %1").arg(mainPath), errno);
        return false;
    }
    {
        Input input(mainFd, mainPath);
        struct stat st;
        if (::fstat(mainFd, &st) == 0)
            readIds.insert(fileId(st));
        if (!readConfFile(input))
            return false;
        keepText(fileName(), input.raw, 0, true);
    }

    const bool read = forEachRepoFile([this, &readIds](const RepoFile& repoFile) {
        if (readIds.contains(fileId(repoFile.st)))
            return true;
        readIds.insert(fileId(repoFile.st));
        const int fd = ::open(repoFile.target.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
        if (fd < 0) {
            error(tr("Unable to read repository configuration file %1").arg(repoFile.shown), errno);
            return false;
        }
        Input input(fd, repoFile.shown);
        const int first = int(repos_.size());
        if (!readRepoFile(input, repoFile.file))
            return false;
        keepText(repoFile.file, input.raw, first, false);
        return true;
    });
    if (!read)
        return false;
    Q_EMIT changed();
    return true;
}

// A root without any main file (a fresh directory) would otherwise be a dead end: the
// editor cannot add anything without reading first.
bool YumConfIO::offerMainFile()
{
    QByteArray target;
    struct stat st;
    if (!resolve(fileName(), target) || ::stat(target.constData(), &st) == 0 || errno != ENOENT)
        return true;
    const QString shown = inRoot(fileName());
    if (!Repo::Messages::question(parent_, tr("Repository Editor"),
                                  tr("The main configuration file %1 does not exist.  "
                                     "Create a minimal one?")
                                      .arg(shown))) {
        errno = ENOENT;
        return true; // the read reports the missing file as before
    }
    const QString dir = QFileInfo(QFile::decodeName(target)).path();
    if (!QDir().mkpath(dir)) {
        error(tr("Unable to write repository configuration file %1").arg(shown), errno);
        return false;
    }
    return commitFile(fileName(), "[main]\n");
}

bool YumConfIO::readConfFile(Input& file)
{
    QString line;
    for (;;) {
        const LineResult result = readLogicalLine(file, line);
        if (result == LineResult::Error)
            return false;
        if (result == LineResult::End)
            break;
        if (line == QLatin1String("[main]")) {
            mainText_ += line + QLatin1Char('\n');
            continue;
        }
        if (line.startsWith(QLatin1Char('['))) {
            unreadLine(line);
            break;
        }
        QString value;
        if (isOption(line, QStringLiteral("cachedir"), value)) {
            cachedir_ = value;
        } else if (isOption(line, QStringLiteral("reposdir"), value)) {
            value.replace(QLatin1Char(','), QLatin1Char(' '));
            static const QRegularExpression blanks(QStringLiteral("\\s+"));
            reposdirs_ = value.split(blanks, Qt::SkipEmptyParts);
        } else if (isOption(line, QStringLiteral("enabled"), value)) {
            mainEnabled_ = !isOff(value);
        } else if (isOption(line, QStringLiteral("gpgcheck"), value)) {
            mainGpgcheck_ = !isOff(value);
        }
        mainText_ += line + QLatin1Char('\n');
    }
    return readRepoFile(file, fileName());
}

bool YumConfIO::readRepoFile(Input& file, const QString& fileName)
{
    Repo::Entry entry;
    bool inSection = false;
    bool newId = false;
    double position = 0;
    QString line;
    QString value;
    for (;;) {
        const LineResult result = readLogicalLine(file, line);
        if (result == LineResult::Error) {
            pushedBack_.clear();
            return false;
        }
        if (result == LineResult::End)
            break;
        if (line.startsWith(QLatin1Char('['))) {
            if (!line.endsWith(QLatin1Char(']'))) {
                // No system call failed; the errno part is shown all the same.
                error(tr("Malformed section name in line: %1").arg(line), errno);
                pushedBack_.clear();
                return false;
            }
            if (inSection)
                finishEntry(entry, newId);
            inSection = false;
            if (line == QLatin1String("[main]"))
                continue;
            entry = Repo::Entry();
            entry.id = line.mid(1, line.size() - 2);
            entry.file = fileName;
            position += 1;
            entry.sortPosition = position;
            newId = !used_.contains(entry.id);
            if (newId)
                used_.insert(entry.id, mainEnabled_);
            inSection = true;
            continue;
        }
        if (!inSection)
            continue;
        if (isOption(line, QStringLiteral("name"), value)) {
            entry.name = value;
        } else if (isOption(line, QStringLiteral("baseurl"), value)) {
            entry.baseurl = value;
        } else if (isOption(line, QStringLiteral("mirrorlist"), value)) {
            entry.mirrorlist = value;
        } else if (isOption(line, QStringLiteral("enabled"), value)) {
            const bool on = !isOff(value);
            entry.enabled = on ? Repo::Yes : Repo::No;
            if (newId)
                used_[entry.id] = on;
        } else if (isOption(line, QStringLiteral("gpgcheck"), value)) {
            entry.gpgcheck = isOff(value) ? Repo::No : Repo::Yes;
        } else if (!isBlank(line)) {
            entry.otherOptions += line + QLatin1Char('\n');
        }
    }
    if (inSection)
        finishEntry(entry, newId);
    pushedBack_.clear();
    return true;
}

void YumConfIO::finishEntry(Repo::Entry& entry, bool newId)
{
    cleanupRead(entry);
    if (newId)
        applyUsedOptions(entry);
    repos_.append(entry);
}

YumConfIO::LineResult YumConfIO::readLogicalLine(Input& file, QString& line)
{
    LineResult result = readLine(file, line);
    if (result != LineResult::Line || isBlank(line))
        return result;
    QString next;
    for (;;) {
        result = readLine(file, next);
        if (result == LineResult::Error)
            return result;
        if (result == LineResult::End)
            break;
        if ((next.startsWith(QLatin1Char(' ')) || next.startsWith(QLatin1Char('\t'))) && !isBlank(next)) {
            line += QLatin1Char('\n') + next;
        } else {
            unreadLine(next);
            break;
        }
    }
    return LineResult::Line;
}

YumConfIO::LineResult YumConfIO::readLine(Input& file, QString& line)
{
    if (!pushedBack_.isEmpty()) {
        line = pushedBack_.takeLast();
        return LineResult::Line;
    }
    QByteArray bytes;
    bool any = false;
    for (;;) {
        const int c = file.get();
        if (c == Input::Error) {
            error(tr("Error reading repository configuration file %1").arg(file.path), file.errnum);
            return LineResult::Error;
        }
        if (c == Input::End) {
            if (!any)
                return LineResult::End;
            break;
        }
        any = true;
        if (c == '\n')
            break;
        bytes.append(char(c));
    }
    line = decodeLine(bytes);
    return LineResult::Line;
}

void YumConfIO::unreadLine(const QString& line)
{
    pushedBack_.append(line);
}

bool YumConfIO::isOption(const QString& line, const QString& option, QString& value)
{
    static const QRegularExpression separator(QStringLiteral("[:=]"));
    const int at = int(line.indexOf(separator));
    if (at < 0)
        return false;
    int keyEnd = at;
    while (keyEnd > 0 && (line.at(keyEnd - 1) == QLatin1Char(' ') || line.at(keyEnd - 1) == QLatin1Char('\t')))
        --keyEnd;
    if (QStringView(line).left(keyEnd) != option)
        return false;
    int valueStart = at + 1;
    while (valueStart < line.size()
           && (line.at(valueStart) == QLatin1Char(' ') || line.at(valueStart) == QLatin1Char('\t')))
        ++valueStart;
    value = line.mid(valueStart);
    return true;
}

void YumConfIO::cleanupRead(Repo::Entry& entry)
{
    // One URL per line; white space around the list separates nothing.
    static const QRegularExpression blanks(QStringLiteral("[ \\t\\n]+"));
    entry.baseurl = entry.baseurl.split(blanks, Qt::SkipEmptyParts).join(QLatin1Char('\n'));
}

void YumConfIO::applyUsedOptions(const Repo::Entry& entry)
{
    for (const YumRepoEnabled& request : requests_) {
        if (request.matches(entry.id))
            used_[entry.id] = request.enable;
    }
}

// ---------------------------------------------------------------- writing

bool YumConfIO::write(QWidget* parent)
{
    parent_ = parent;
    if (!checkErrors())
        return false;
    cleanupWrite(repos_);
    const QString mainFile = fileName();
    sameFileSameName(mainFile);

    QList<Repo::Entry> sorted = repos_;
    std::stable_sort(sorted.begin(), sorted.end(), filePositionLessThan);
    QMap<QString, QList<const Repo::Entry*>> byFile;
    for (const KeptFile& kept : qAsConst(kept_))
        byFile[cleanPath(kept.file)];
    for (const Repo::Entry& entry : qAsConst(sorted))
        byFile[cleanPath(entry.file)].append(&entry);

    // Every text first, so that a text the package manager refuses leaves all files alone.
    QList<QPair<QString, QByteArray>> texts;
    for (auto it = byFile.cbegin(); it != byFile.cend(); ++it) {
        QByteArray text;
        if (!editedText(it.key(), it.value(), text)) {
            if (it.value().isEmpty())
                continue; // its repositories are gone: removeUnusedFiles deletes it
            if (it.key() == mainFile)
                text += encodeText(mainText_);
            for (const Repo::Entry* entry : it.value()) {
                if (entry != it.value().first())
                    text += '\n';
                writeRepo(text, *entry);
            }
        }
        texts.append(qMakePair(it.key(), text));
    }
    if (!byFile.contains(mainFile))
        texts.append(qMakePair(mainFile, encodeText(mainText_)));
    for (const auto& file : qAsConst(texts)) {
        if (!checkText(file.first, file.second))
            return false;
    }

    QSet<QString> written;
    writtenIds_.clear();
    for (const auto& file : qAsConst(texts)) {
        if (!commitFile(file.first, file.second))
            return false;
        written.insert(file.first);
    }
    return removeUnusedFiles(written);
}

bool YumConfIO::checkText(const QString& fileName, const QByteArray& text)
{
    if (!textCheck_)
        return true;
    const QString shown = inRoot(fileName);
    // A file that keeps its text needs no second opinion.
    QByteArray target;
    if (resolve(fileName, target)) {
        QFile current(QFile::decodeName(target));
        if (current.open(QIODevice::ReadOnly) && current.readAll() == text)
            return true;
    }
    QString message;
    if (textCheck_(shown, text, fileName == this->fileName(), message))
        return true;
    Repo::Messages::critical(parent_, tr("Orvo Repository Editor Error"),
                             tr("The package manager would not read %1 as it would be written:\n%2\n"
                                "No file was changed.")
                                 .arg(shown, message));
    return false;
}

QString YumConfIO::substituted(const QString& text) const
{
    static const QRegularExpression variable(QStringLiteral("\\$(?:\\{(\\w+)\\}|(\\w+))"));
    QString result;
    qsizetype done = 0;
    QRegularExpressionMatchIterator it = variable.globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        const QString name = match.captured(1).isEmpty() ? match.captured(2) : match.captured(1);
        const auto value = variables_.constFind(name);
        if (value == variables_.cend())
            continue;
        result += text.mid(done, match.capturedStart() - done) + *value;
        done = match.capturedEnd();
    }
    return result + text.mid(done);
}

bool YumConfIO::hasEmptyId() const
{
    return std::any_of(repos_.cbegin(), repos_.cend(),
                       [](const Repo::Entry& entry) { return entry.id.isEmpty(); });
}

QString YumConfIO::getDuplicateId() const
{
    QStringList ids;
    for (int i = 0; i < repos_.size(); ++i) {
        for (int j = i + 1; j < repos_.size(); ++j) {
            if (repos_.at(i).id == repos_.at(j).id)
                ids.append(repos_.at(i).id);
        }
    }
    return ids.join(QStringLiteral(", "));
}

bool YumConfIO::checkErrors()
{
    QStringList parts;
    if (hasEmptyId())
        parts.append(tr("A repository has no Identifier.  It will be removed."));
    const QString duplicates = getDuplicateId();
    if (!duplicates.isEmpty())
        parts.append(tr("Two or more repositories have the same Identifier(s), %1.  "
                        "Only one repository will be applied for each Identifier.")
                         .arg(duplicates));
    if (parts.isEmpty())
        return true;
    const QString message = parts.join(QLatin1Char('\n')) + tr("  Proceed?");
    if (!Repo::Messages::question(parent_, tr("Repository Editor"), message))
        return false;
    QList<Repo::Entry> kept;
    QSet<QString> seen;
    for (const Repo::Entry& entry : qAsConst(repos_)) {
        if (entry.id.isEmpty() || seen.contains(entry.id))
            continue;
        seen.insert(entry.id);
        kept.append(entry);
    }
    repos_ = kept;
    return true;
}

void YumConfIO::cleanupWrite(QList<Repo::Entry>& list) const
{
    for (Repo::Entry& entry : list) {
        if (entry.file.isEmpty())
            entry.file = entry.id + QLatin1String(".repo");
        if (!entry.file.startsWith(QLatin1Char('/')) && !reposdirs_.isEmpty())
            entry.file = newFileDir() + QLatin1Char('/') + entry.file;
        // Two spellings of one path must not become two writes of one file.
        entry.file = cleanPath(entry.file);
    }
}

void YumConfIO::sameFileSameName(const QString& mainFile)
{
    QHash<QPair<quint64, quint64>, QString> names;
    const auto nameOf = [&names](const QString& file) {
        QByteArray target;
        struct stat st;
        if (!resolve(file, target) || ::stat(target.constData(), &st) != 0)
            return file;
        return *names.insert(fileId(st), names.value(fileId(st), file));
    };
    nameOf(mainFile);
    for (Repo::Entry& entry : repos_)
        entry.file = nameOf(entry.file);
    for (KeptFile& kept : kept_)
        kept.file = nameOf(cleanPath(kept.file));
}

QString YumConfIO::newFileDir() const
{
    for (const QString& dir : reposdirs_) {
        QByteArray target;
        struct stat st;
        if (resolve(dir, target) && ::stat(target.constData(), &st) == 0 && S_ISDIR(st.st_mode))
            return dir;
    }
    // commitFile creates it.
    return reposdirs_.value(0);
}

bool YumConfIO::filePositionLessThan(const Repo::Entry& a, const Repo::Entry& b)
{
    if (a.file != b.file)
        return a.file < b.file;
    return a.sortPosition < b.sortPosition;
}

void YumConfIO::writeRepo(QByteArray& file, const Repo::Entry& entry)
{
    file += '[' + encodeText(entry.id) + "]\n";
    if (!entry.name.isEmpty())
        file += "name=" + encodeText(entry.name) + '\n';
    if (!entry.baseurl.isEmpty()) {
        QString urls = entry.baseurl;
        urls.replace(QLatin1Char('\n'), QLatin1String("\n        "));
        file += "baseurl=" + encodeText(urls) + '\n';
    }
    if (!entry.mirrorlist.isEmpty())
        file += "mirrorlist=" + encodeText(entry.mirrorlist) + '\n';
    if (entry.enabled != Repo::Default)
        file += entry.enabled == Repo::Yes ? "enabled=1\n" : "enabled=0\n";
    if (entry.gpgcheck != Repo::Default)
        file += entry.gpgcheck == Repo::Yes ? "gpgcheck=1\n" : "gpgcheck=0\n";
    file += encodeText(entry.otherOptions);
}

// Replaces a file whole: the new text goes to a temporary file beside it, which is
// renamed over it, so that a failure leaves the old file as it was.  A symbolic link
// keeps pointing where it did; the file it points to is replaced.  A file that holds
// the text already is left alone.
bool YumConfIO::commitFile(const QString& fileName, const QByteArray& text)
{
    const QString shown = inRoot(fileName);
    QByteArray target;
    if (!resolve(fileName, target)) {
        error(tr("Unable to write repository configuration file %1").arg(shown), errno);
        return false;
    }
    struct stat old;
    const bool exists = ::stat(target.constData(), &old) == 0;
    if (exists && S_ISREG(old.st_mode) && old.st_size == text.size()) {
        QFile current(QFile::decodeName(target));
        if (current.open(QIODevice::ReadOnly) && current.readAll() == text) {
            writtenIds_.insert(fileId(old));
            return true;
        }
    }

    const qsizetype slash = target.lastIndexOf('/');
    // The first repository directory is made when none exists yet.
    if (!exists && !reposdirs_.isEmpty() && cleanPath(fileName).section(QLatin1Char('/'), 0, -2) == cleanPath(reposdirs_.first())
        && !QDir().exists(QFile::decodeName(target.left(slash)))) {
        if (!QDir().mkpath(QFile::decodeName(target.left(slash)))) {
            error(tr("Unable to write repository configuration file %1").arg(shown), errno);
            return false;
        }
    }
    QByteArray temporary = target.left(slash + 1) + '.' + target.mid(slash + 1) + ".orvo-XXXXXX";
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0) {
        error(tr("Unable to write repository configuration file %1").arg(shown), errno);
        return false;
    }
    bool ok;
    if (exists) {
        ok = ::fchmod(fd, old.st_mode & 07777) == 0;
        struct stat fresh;
        if (ok && ::fstat(fd, &fresh) == 0 && (fresh.st_uid != old.st_uid || fresh.st_gid != old.st_gid)) {
            // Only the superuser may give a file away; anyone else keeps the file as theirs.
            if (::fchown(fd, old.st_uid, old.st_gid) != 0 && errno != EPERM)
                ok = false;
        }
    } else {
        ok = ::fchmod(fd, 0644) == 0;
    }
    ok = ok && writeAll(fd, text) && ::fsync(fd) == 0;
    int errnum = errno;
    if (::close(fd) != 0 && ok) {
        ok = false;
        errnum = errno;
    }
    if (ok && ::rename(temporary.constData(), target.constData()) != 0) {
        ok = false;
        errnum = errno;
    }
    if (!ok) {
        ::unlink(temporary.constData());
        error(tr("Unable to write repository configuration file %1").arg(shown), errnum);
        return false;
    }
    struct stat fresh;
    if (::stat(target.constData(), &fresh) == 0)
        writtenIds_.insert(fileId(fresh));
    return true;
}

bool YumConfIO::forEachRepoFile(const std::function<bool(const RepoFile&)>& visit)
{
    // A directory named twice (often through a symbolic link) is walked once: its
    // repositories would otherwise all count as duplicates.
    QSet<QPair<quint64, quint64>> dirsSeen;
    for (const QString& dir : qAsConst(reposdirs_)) {
        QByteArray dirTarget;
        if (!resolve(dir, dirTarget))
            continue;
        DirHandle handle(::opendir(dirTarget.constData()));
        if (!handle)
            continue;
        struct stat dirStat;
        if (::fstat(dirfd(handle.get()), &dirStat) == 0) {
            if (dirsSeen.contains(fileId(dirStat)))
                continue;
            dirsSeen.insert(fileId(dirStat));
        }
        QList<QByteArray> names;
        while (const struct dirent* item = ::readdir(handle.get())) {
            const QByteArray name(item->d_name);
            if (name.endsWith(".repo") && !name.startsWith('.'))
                names.append(name);
        }
        handle.reset();
        std::sort(names.begin(), names.end());
        for (const QByteArray& name : qAsConst(names)) {
            RepoFile repoFile;
            repoFile.file = dir + QLatin1Char('/') + QFile::decodeName(name);
            repoFile.shown = inRoot(repoFile.file);
            repoFile.entry = dirTarget + '/' + name;
            if (!resolve(repoFile.file, repoFile.target) || ::stat(repoFile.target.constData(), &repoFile.st) != 0) {
                error(tr("Unable to stat repository configuration file %1").arg(repoFile.shown), errno);
                return false;
            }
            if (!S_ISDIR(repoFile.st.st_mode) && !visit(repoFile))
                return false;
        }
    }
    return true;
}

bool YumConfIO::removeUnusedFiles(const QSet<QString>& writtenFiles)
{
    return forEachRepoFile([this, &writtenFiles](const RepoFile& repoFile) {
        if (writtenFiles.contains(cleanPath(repoFile.file)) || writtenIds_.contains(fileId(repoFile.st)))
            return true;
        // The entry, inside the root: a link goes, the file it points to stays.
        if (::unlink(repoFile.entry.constData()) != 0) {
            error(tr("Unable to unlink repository configuration file %1").arg(repoFile.shown), errno);
            return false;
        }
        return true;
    });
}

void YumConfIO::keepText(const QString& file, const QByteArray& text, int first, bool mainFile)
{
    KeptFile kept{file, Repo::FileText(text, mainFile), repos_.mid(first)};
    // A file laid out otherwise than it was read is written whole.
    if (kept.text.sectionCount() != kept.read.size())
        return;
    for (int i = first; i < repos_.size(); ++i) {
        repos_[i].origin = int(origins_.size());
        origins_.append(qMakePair(int(kept_.size()), i - first));
    }
    kept_.append(kept);
}

bool YumConfIO::editedText(const QString& file, const QList<const Repo::Entry*>& entries, QByteArray& text) const
{
    const auto kept = std::find_if(kept_.cbegin(), kept_.cend(),
                                   [&file](const KeptFile& k) { return cleanPath(k.file) == file; });
    if (kept == kept_.cend())
        return false;
    const int keptIndex = int(kept - kept_.cbegin());
    // A file all of whose repositories were removed is deleted, unless it is the main
    // file or held none to begin with.
    if (entries.isEmpty() && kept->text.sectionCount() > 0 && file != fileName())
        return false;
    QList<const Repo::Entry*> now(kept->text.sectionCount(), nullptr);
    QList<QByteArray> added;
    for (const Repo::Entry* entry : entries) {
        const QPair<int, int> origin = origins_.value(entry->origin, qMakePair(-1, -1));
        // A copy of an entry is a new section: the first holder keeps the old one.
        if (origin.first == keptIndex && !now.at(origin.second)) {
            now[origin.second] = entry;
        } else {
            QByteArray section;
            writeRepo(section, *entry);
            added.append(section);
        }
    }
    text = kept->text.edited(kept->read, now, added);
    return true;
}

void YumConfIO::error(const QString& message, int errnum)
{
    Repo::Messages::critical(
        parent_, tr("Orvo Repository Editor Error"),
        message + tr("; errno = %1 (%2).")
                      .arg(QString::number(errnum), QString::fromLocal8Bit(std::strerror(errnum))));
}
