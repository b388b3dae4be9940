#pragma once

#include "repo/RepoEntry.h"
#include "repo/RepoFileText.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

class QByteArray;
class QWidget;
class YumRepoEnabled;

// Reads yum's main configuration file and every repository file into Repo::Entry
// records and writes them back, keeping what it does not understand.  Also decides
// which repositories this session uses.  Graphical thread only; every failure is shown
// at once through Repo::Messages.
//
// Paths (fileName(), reposdirs(), Entry::file) are those of the managed system; the
// files themselves lie inside its root (ORVOROOT, see inRoot()).
class YumConfIO final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(YumConfIO)

public:
    using UseTable = QHash<QString, bool>;
    // Reads a file's new text as the package manager would (shown: the path in
    // messages); false, with its message, when it would refuse or drop anything.
    using TextCheck = std::function<bool(const QString& shown, const QByteArray& text, bool mainFile,
                                         QString& message)>;

    // Both are owned by the caller and must outlive this object.
    YumConfIO(const QList<YumRepoEnabled>& requests, UseTable& sessionUse,
              QObject* parent = nullptr);
    ~YumConfIO() override;

    // Reads everything anew; emits changed() on success.
    bool read(QWidget* parent);
    // Writes repos() back; false when the user declines at the error check or on a failure.
    // Every new text passes the text check first; one that fails it leaves every file
    // as it was.
    bool write(QWidget* parent);
    void setTextCheck(const TextCheck& check) { textCheck_ = check; }

    // The variables the package manager substitutes ($basearch, $releasever, ...).
    void setVariables(const QHash<QString, QString>& variables) { variables_ = variables; }
    // A text as the package manager shows it: "$name" and "${name}" replaced where the
    // variable is known, left as written where not.
    QString substituted(const QString& text) const;

    // The main file: /etc/yum/yum.conf, /etc/yum.conf or /etc/dnf/dnf.conf, the first
    // that exists, else /etc/yum.conf.  Asked afresh at each use.
    QString fileName() const;
    // The managed system's root: $ORVOROOT, or "/" when unset or empty.
    static QString root();
    // Where a path of the managed system lies in this program's file system, as
    // messages show it.
    static QString inRoot(const QString& path);
    // The file a path of the managed system names, resolved as inside a chroot at the
    // root: ".." stops at the root and symbolic links, absolute ones included, are
    // followed inside it, so the result never lies outside.  Parts that do not exist
    // are taken as they stand.  False, errno set, when links loop.
    static bool resolve(const QString& path, QByteArray& resolved);

    QList<Repo::Entry>& repos() { return repos_; }
    const QList<Repo::Entry>& repos() const { return repos_; }
    UseTable& sessionUse() { return used_; }
    const QList<YumRepoEnabled>& requests() const { return requests_; }
    const QString& cachedir() const { return cachedir_; }
    const QStringList& reposdirs() const { return reposdirs_; }
    bool mainEnabled() const { return mainEnabled_; }
    bool mainGpgcheck() const { return mainGpgcheck_; }
    // The main file's text up to its first repository section.
    const QString& mainText() const { return mainText_; }

    bool hasEmptyId() const;
    // Every id that equals a later entry's id, once per such pair, joined by ", ".
    QString getDuplicateId() const;

    // Matches "option = value" lines; see readRepoFile for the rules.
    static bool isOption(const QString& line, const QString& option, QString& value);

Q_SIGNALS:
    void changed();

private:
    class Input;
    enum class LineResult { Line, End, Error };

    bool offerMainFile();
    bool readConfFile(Input& file);
    // Sections named "main" are no repositories; only the main file's first one is read.
    bool readRepoFile(Input& file, const QString& fileName);
    LineResult readLogicalLine(Input& file, QString& line);
    LineResult readLine(Input& file, QString& line);
    void unreadLine(const QString& line);
    static void cleanupRead(Repo::Entry& entry);
    void applyUsedOptions(const Repo::Entry& entry);
    void finishEntry(Repo::Entry& entry, bool newId);

    bool checkErrors();
    void cleanupWrite(QList<Repo::Entry>& list) const;
    // Where a new file goes: the first repository directory that exists, else the first.
    QString newFileDir() const;
    // Entries of one file reached under two names (through a link) get one name, the
    // main file's first, so that the file is written once with all of them.
    void sameFileSameName(const QString& mainFile);
    static bool filePositionLessThan(const Repo::Entry& a, const Repo::Entry& b);
    static void writeRepo(QByteArray& file, const Repo::Entry& entry);
    bool commitFile(const QString& fileName, const QByteArray& text);
    bool checkText(const QString& fileName, const QByteArray& text);
    bool removeUnusedFiles(const QSet<QString>& writtenFiles);
    struct RepoFile;
    // Calls visit for each ".repo" file of the repository directories, in name order
    // within each directory, until visit or a stat fails.  Hidden files are left out,
    // as the package manager leaves them out.
    bool forEachRepoFile(const std::function<bool(const RepoFile&)>& visit);
    void error(const QString& message, int errnum);
    // Remembers the text of a file just read, whose sections became repos_ from `first`.
    void keepText(const QString& file, const QByteArray& text, int first, bool mainFile);
    // The new text of a file read before, or false when it is to be written whole.
    bool editedText(const QString& file, const QList<const Repo::Entry*>& entries, QByteArray& text) const;

    const QList<YumRepoEnabled>& requests_;
    UseTable& used_;

    QString cachedir_;
    QStringList reposdirs_;
    bool mainEnabled_ = true;
    bool mainGpgcheck_ = false;
    QList<Repo::Entry> repos_;
    QString mainText_;
    QWidget* parent_ = nullptr;
    QStringList pushedBack_;
    // Every file as read, with its sections as they were read.
    struct KeptFile {
        QString file;
        Repo::FileText text;
        QList<Repo::Entry> read;
    };
    QList<KeptFile> kept_;
    // Entry::origin → (kept file, section)
    QList<QPair<int, int>> origins_;
    TextCheck textCheck_;
    QHash<QString, QString> variables_;
    // Files replaced by the write in hand, as device and inode, so that a file reached
    // through another directory name is known as written.
    QSet<QPair<quint64, quint64>> writtenIds_;
};
