#pragma once

#include "log/LogEntryList.h"
#include "python/PyRef.h"
#include "python/Python.h"
#include "yumio/Package.h"
#include "yumio/PackageEntryList.h"
#include "yumio/YumIOCContract.h"
#include "yumio/YumIOGrabMeter.h"

#include <QHash>
#include <QMutex>
#include <QSet>
#include <QStringList>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

class HProgressBar;
class QWidget;
class YumIODialogs;
class YumIOSearchIndex;

namespace Advisory {
class Store;
}
namespace Package {
class Entry;
}
namespace Progress {
class Object;
}

// The engine: owns the interpreter, the companion script's object and the catalogue, and
// answers the script's callbacks.  Lives in the graphical thread; long operations run on
// a worker thread while the graphical thread waits.
class YumIO final : public QObject, public Python
{
    Q_OBJECT
    Q_DISABLE_COPY(YumIO)

public:
    // Finds an entry again: packages by name and architecture class, groups by name.
    class EntryKey final
    {
    public:
        EntryKey(bool group, const QString& name, const QString& biArch);
        bool operator==(const EntryKey& other) const;
        bool operator!=(const EntryKey& other) const { return !(*this == other); }

        bool group;
        QString name;
        QString biArch;
    };

    // Keeps a worker from starting its body before the graphical thread waits for it.
    class Blocker final
    {
    public:
        void prepare() { mutex.lock(); }
        void release() { mutex.unlock(); }
        void block();

    private:
        QMutex mutex;
    };

    YumIO();
    ~YumIO() override;

    void setup(QWidget* parent, HProgressBar* totalBar, HProgressBar* itemBar);
    bool initialize();

    // -- version and features
    QString yumVersionStr();
    unsigned long yumVersion();
    bool hasDistribGroups();
    bool hasTransTest();
    bool hasPickledCache();
    bool hasSqliteCache();
    bool usesSqlite();
    bool usesPresto();
    bool hasMultiProgress();
    QString getYumVar(const QString& name);
    // Every variable the package manager substitutes in repository texts.
    QHash<QString, QString> yumVars();
    // What the package manager's own reader says of a configuration file's new text:
    // true when it reads every repository of it, else false with its message.  True
    // when there is no script object to ask.
    bool checkRepoText(const QString& shown, const QByteArray& text, bool mainFile, QString& message);

    // -- reporting
    void log(Log::Kind kind, unsigned int level, const QString& text);
    void write(const QString& text, Log::Kind kind, unsigned int level, QString& rest);
    void error(const QString& text);
    void warning(const QString& text);
    void error(const char* message) override;
    void warning(const char* message) override;
    void pythonException(const QString& context);
    void pythonExceptionV(const QString& context);
    void commExceptSetup();
    bool commExceptRaised(PyObject* result, const QString& action);
    void pyExceptExpect(PyObject* type) override;
    void pyExceptClear() override;
    void exceptionExpected() override;
    Log::EntryList& logList() { return logList_; }
    int logMark() const { return logMark_; }

    // -- conversions
    QString simpleString(PyObject* package, const char* name);
    QString getBiArch(const QString& arch);
    qint64 sizeOf(PyObject* package);
    static QString bytesFormat(unsigned long long bytes);
    qint64 buildTimeOf(PyObject* package);
    const char* timeFormat(long t);
    const char* dateFormat(long t);
    QString pyString(PyObject* object);
    QString pyStringDec(PyObject* object);
    QString pyStringX(PyObject* object);
    QString pyStringXDec(PyObject* object);
    QString pyMappingString(PyObject* mapping, const char* key);
    PyObject* pyDictGetItem(PyObject* dict, const QString& key);
    qint64 pyTime(PyObject* object);
    qint64 pyTimeDec(PyObject* object);
    const char* pyDescribe(PyObject* object);
    // "[epoch:]name-version-release.arch"; false when the text has not that shape.
    static bool parseEnvra(const QString& envra, QString& epoch, QString& name, QString& version,
                           QString& release, QString& arch);

    // -- the catalogue
    int count() const { return clearing_ ? 0 : int(entries_.size()); }
    Package::Entry** begin();
    Package::Entry** end();
    Package::Entry* operator[](int index);
    // The rows as collected, whatever the clearing flag says.
    Package::EntryList& catalogue() { return entries_; }
    bool clearing() const { return clearing_; }
    void setClearing(bool clearing) { clearing_ = clearing; }
    QString getName(const Package::Entry& entry) const;
    QString getVerRel(const Package::Entry& entry) const;
    QString getRepo(const Package::Entry& entry) const;
    QString getArch(const Package::Entry& entry) const;
    QString getSize(const Package::Entry& entry) const;
    QString getSummary(const Package::Entry& entry) const;
    QString getBuildTime(const Package::Entry& entry) const;
    QString getState(const Package::Entry& entry) const;
    QString getKind(const Package::Entry& entry) const;

    // -- collecting the catalogue
    // Asks the script to let go of yum, empties the catalogue and makes a fresh script
    // object, so that the next collection starts from a new yum state.
    bool clear();
    void clearEntriesBeforeQuit();
    const QStringList& enabledRepos() const { return enabledRepos_; }
    QString baseArch() const { return baseArch_; }
    Package::Entry* findEntry(const EntryKey& key) const { return keyHash_.value(key, nullptr); }
    // The preferred entry of each name, across architectures.
    Package::Entry* preferredEntry(const QString& name) const { return nameHash_.value(name, nullptr); }
    const QSet<QString>& biArchs() const { return biArchs_; }

    // -- details of an entry, read from its yum object
    QString getDescription(const Package::Entry& entry);
    QString getGroup(const Package::Entry& entry);
    QString getVendor(const Package::Entry& entry);
    QString getBuildHost(const Package::Entry& entry);
    QString getInstallTime(const Package::Entry& entry);
    QString getBinaryRpm(const Package::Entry& entry);
    QString getSourceRpm(const Package::Entry& entry);
    QString getLicense(const Package::Entry& entry);
    QString getPackager(const Package::Entry& entry);
    QString getUrl(const Package::Entry& entry);
    QStringList getRelocations(const Package::Entry& entry);
    QStringList getProvides(const Package::Entry& entry);
    QStringList getRequires(const Package::Entry& entry);
    QStringList getConflicts(const Package::Entry& entry);
    QStringList getObsoletes(const Package::Entry& entry);
    QStringList getFiles(const Package::Entry& entry);
    QString getChangeLog(const Package::Entry& entry);
    QStringList getRequiredGroups(const Package::Entry& entry);
    QStringList getDefaultMetaPkgs(const Package::Entry& entry);
    QStringList getOptionalMetaPkgs(const Package::Entry& entry);
    QStringList getMandatoryPkgs(const Package::Entry& entry);
    QStringList getDefaultPkgs(const Package::Entry& entry);
    QStringList getOptionalPkgs(const Package::Entry& entry);
    QStringList getConditionalPkgs(const Package::Entry& entry);
    // New reference, or null.
    PyObject* getRpmHdrValue(PyObject* package, const char* tag);
    QString getRpmTime(PyObject* package, const char* tag);
    QStringList getRpmList(PyObject* package, const char* tag);
    QStringList getPrco(PyObject* package, const char* headerPrefix, const char* yumName);
    static void makeSorted(QStringList& list);
    static void makeSortedUniq(QStringList& list);
    int upToDateGroup(const Package::Entry& entry);
    bool fileListsLoaded() const { return fileListsLoaded_; }
    bool otherDataLoaded() const { return otherDataLoaded_; }
    // The texts search mode compares, once both kinds of extra data are loaded and
    // buildSearchIndex() ran; null otherwise.  Dropped by the next collection.
    std::shared_ptr<const YumIOSearchIndex> searchIndex() const { return searchIndex_; }
    // The advisories the update entries fix, read with the catalogue.
    const Advisory::Store& advisories() const;

    // The rpm database changed since the catalogue was collected (another program
    // installed or removed packages).
    bool installedChanged();
    // Empties the catalogue and collects it again with the repositories requested,
    // keeping the marks of packages still there in the same state; the names of those
    // whose marks went are in dropped.  False when the collection failed.
    bool collectKeepingMarks(const QHash<QString, bool>& requests, QStringList& dropped);
    // Installed packages that a newer version of the same name and architecture
    // duplicates (an interrupted transaction's leftovers), as "name-version-release.arch".
    QStringList olderDuplicates();
    // Removes them as one transaction, listed for confirmation like any other; the
    // marks play no part in it.
    bool removeDuplicates();
    // How many entries, groups included, carry a mark.
    int markedCount() const;
    // Stops the running collection at the script's next callback, quietly: the user
    // asked for it.  Graphical thread.
    void cancel();

Q_SIGNALS:
    // File lists or other extra data arrived: open views refresh.
    void collectedExtraData();
    // Before an apply, the catalogue was collected again: tables reset, the text says why.
    void collectedAgain(const QString& text);

public:

    // -- callbacks of the script (the yumIOC module); each returns a new reference
#define YUMIOC_DECLARE(name, flags, format) PyObject* name(PyObject* self, PyObject* args);
    YUMIOC_CONTRACT(YUMIOC_DECLARE)
#undef YUMIOC_DECLARE

    // -- download progress
    // The kind of a repository download or step; a repository's acts on the total bar
    // follow this order.
    enum RepoAct : int {
        MirrorListAct = 0,
        RepomdAct = 1,
        GroupsAct = 2,
        ContentsAct = 3,
        ConvertingAct = 4,
        ReadingAct = 5,
    };

    // Collection calls this before repositories are read; the apply code before packages
    // are downloaded.
    void resetRepoProgress(const QStringList& enabledRepoIds, const QString& contentsWord);
    void resetApplyProgress();
    // Header downloads are labelled as such.
    void setDownloadingPackages(bool packages) { downloadingPackages = packages; }
    int collectActsReached() const { return collectActs; }
    // The act that a download of kind act ends, reached from acts, with the given number
    // of repositories and what yum offers.
    static int advanceCollectActs(int acts, int act, int repositories, bool parallelOffered,
                                  unsigned long yumVersion);
    // The activity text of a repository download or step; name may be empty.
    QString repoActivity(RepoAct act, const QString& name);
    // -- end of download progress

    // The script object (borrowed); null until initialize() succeeded.
    PyObject* scriptObject() const { return yumIO_.get(); }
    bool yumLocked() const { return yumLocked_; }
    bool takeYumLock();

    // -- services used by worker bodies
    YumIODialogs*& dialogsSlot() { return dialogs_; }
    QWidget* dialogParent() const { return parent_; }
    Progress::Object*& progressSlot() { return progress_; }
    HProgressBar* totalBar() const { return totalBar_; }
    HProgressBar* itemBar() const { return itemBar_; }

    // Text of the script's standard error is given this kind and level.
    Log::Kind stderrKind = Log::Error;
    unsigned int stderrLevel = 0;

    // -- cache cleaning: on the graphical thread; true when the package manager succeeded
    bool cleanHeaders();
    bool cleanPackages();
    bool cleanXmlMetadata();
    bool cleanPickledCache();
    bool cleanSqliteCache();
    bool cleanAll();
    // -- end of cache cleaning

    // -- worker threads
    // Starters: graphical thread only, one at a time; each returns when its worker is done.
    bool collect(const QHash<QString, bool>& requests);
    // The next collection checks every repository for new metadata, however young the
    // cache (Refresh).
    void expireMetadata();
    void clearEntries();
    bool collectFileLists();
    bool collectOtherData();
    // Builds the search index when the extra data are loaded and there is none yet.
    bool buildSearchIndex();
    bool apply();
    // Runs body on a worker thread, inside the services every worker needs, while the
    // graphical thread waits; interruptible bodies let SIGINT stop the script.
    bool runWorker(const std::function<bool()>& body, bool interruptible);

    // Worker bodies, run by runWorker().
    bool collectReal(const QHash<QString, bool>& requests);
    void clearEntriesReal();
    bool collectFileListsReal();
    bool collectOtherDataReal();
    bool buildSearchIndexReal();
    bool applyReal();

    class YumIOCapturers*& capturersSlot() { return capturers_; }

    // Text read from the capture pipes.
    void writeStdout(const QString& text);
    void writeStderr(const QString& text);
    // A "TSINFO: " message of yum's information logger, without its prefix.
    void dsTsInfo(const QString& text);

    // -- applying a transaction
    // The entry of a package name: the machine's own architecture class first, then any
    // other class; null when none.  The second form returns only candidates accept likes.
    Package::Entry* findPackage(const QString& name);
    Package::Entry* findPackage(const QString& name, bool (YumIO::*accept)(Package::Entry*));
    // The entry is to be updated (removed) and rpm has not yet started on every version of
    // its chain.
    bool hasNotStartedUpdate(Package::Entry* entry);
    bool hasNotStartedRemove(Package::Entry* entry);
    // Expands every group's work action into its members; false when the user cancelled
    // or a member list could not be read.
    bool applyGroups();
    bool applyGrpUpdate(const Package::Entry* group);
    bool applyGrpInstall(const Package::Entry* group);
    bool applyGrpAdd(const Package::Entry* group, PyObject* members, const QSet<QString>* required);
    bool applyGrpRemove(const Package::Entry* group);
    bool applyGrpConflict(const Package::Entry* group, Package::Entry* pkg);
    void applyGrpLog(const Package::Entry* group, const Package::Entry* pkg);
    void applyGrpLogWas(const Package::Entry* group, const Package::Entry* pkg);
    void applyGrpLogNot(const Package::Entry* group, const Package::Entry* pkg, Package::Action action,
                        const QString& reason);
    // Member names of a group; new references, or null after an error was reported.
    PyObject* requiredPkgs(const Package::Entry* group);
    PyObject* pkgTree(const Package::Entry* group);
    PyObject* allPkgs(const Package::Entry* group);
    // The package entry a solver line names, and what the line adds to the acts.
    Package::Entry* dsTsFindPkg(const QString& envra);
    void dsTsNewPkg(const QString& envra, Package::Entry* entry, unsigned int acts, bool checkHeader);
    // The script's eight lists of a resolved transaction (new reference), or null.
    PyObject* makeLists();
    // "name version-release (arch)", with the epoch when it is not 0.
    static QString pkgtupFormat(const QString& name, const QString& arch, const QString& epoch,
                                const QString& version, const QString& release);
    QString getLocalHdr(PyObject* package);
    QString getLocalPkg(PyObject* package);
    bool reapChildren();
    bool sigchldDisable();
    bool sigchldRestore();

    // What the last transaction counted, for the window and tests.
    quint32 packageCount() const { return packageCount_; }
    quint32 missingHeaders() const { return missingHeaders_; }
    quint32 dsActs() const { return dsActs_; }
    quint32 dsDownloads() const { return dsDownloads_; }
    qint64 applyActsReached() const { return applyActs; }
    quint64 transactionWeight() const { return transactionWeight_; }
    quint64 totalDownloadWeight() const { return totalDownloadWeight_; }
    quint64 toDownloadWeight() const { return toDownloadWeight_; }
    const QString& transactionText() const { return transactionText_; }
    // -- end of applying a transaction

public Q_SLOTS:
    void blockerRelease();
    // -- end of worker threads

private:
    // Runs thread while the graphical thread waits in loop with the interpreter lock given up.
    void execWorkThread(class QEventLoop& loop, QThread& thread);
    bool cleanOne(const QString& heading, const char* method);
    long cleanCall(const char* method);
    PyObject* writeCallback(PyObject* args, Log::Kind kind, unsigned int level, QString& rest);
    PyObject* logCallback(PyObject* args, Log::Kind kind);
    static PyObject* noneResult();
    bool lookupExceptionType(PyRef& slot, const char* name, bool quiet);
    bool probe(bool& known, bool& answer, bool method, const char* name);
    QString printableExceptionValue();
    void printTraceback();

    Log::EntryList logList_;
    int logMark_ = -1;
    QString stdoutRest_;
    QString stderrRest_;

    QWidget* parent_ = nullptr;
    YumIODialogs* dialogs_ = nullptr;
    HProgressBar* totalBar_ = nullptr;
    HProgressBar* itemBar_ = nullptr;
    Progress::Object* progress_ = nullptr;
    Blocker blocker_;

    Package::EntryList entries_;
    Package::EntryList standby_;
    QHash<EntryKey, Package::Entry*> keyHash_;
    QHash<QString, Package::Entry*> nameHash_;
    QSet<QString> biArchs_;
    // Only while collecting: architecture classes, shared texts, formatted times.
    QHash<QString, QString> biArchCache_;
    QSet<QString> collectTexts_;
    QHash<qint64, QString> timeTexts_;
    QStringList enabledRepos_;
    QString baseArch_;
    bool clearing_ = false;
    // What the last collection was asked for: repositories used in this session.
    QHash<QString, bool> lastRequests_;
    bool cancelled_ = false;
    // The older duplicates found last, and whether the apply running removes them.
    std::vector<PyRef> duplicates_;
    bool removingDuplicates_ = false;
    bool fileListsLoaded_ = false;
    bool otherDataLoaded_ = false;
    std::shared_ptr<const YumIOSearchIndex> searchIndex_;
    // Filled by the worker, handed over by the starter once the worker is done.
    std::shared_ptr<YumIOSearchIndex> builtIndex_;
    std::shared_ptr<Advisory::Store> advisories_;

    bool collectSteps(const QHash<QString, bool>& requests);
    bool readRepos();
    void useRepos(const QHash<QString, bool>& requests);
    void collectRepos();
    // After setupRepos failed: whether it left out the failing repositories and read the rest.
    bool reposSkipped();
    bool collectSet(PyObject* packages, Package::State state);
    bool collectEach(PyObject* items, Package::State state);
    void collectOne(PyObject* package, Package::State state);
    void collectRow(PyObject* row, Package::State state);
    Package::Entry** placeFor(const QString& name, const QString& arch, const QString& biArch, Package::State state,
                              bool& head);
    void prefer(const QString& name, Package::Entry* entry);
    QString simpleText(PyObject* value);
    QString biArchOf(const QString& arch);
    QString collectText(const QString& text);
    QString collectTimeText(qint64 time);
    void clearCollectCaches();
    bool collectField(PyObject* result, const char* name, Package::State state);
    bool collectAdvisories();
    Package::Entry*& findUpdateablePackage(const QString& name, const QString& arch, const QString& biArch);
    Package::Entry* collectPkg(Package::State state, PyObject* package);
    Package::Kind getPkgKind(PyObject* package);
    bool collectGroups(PyObject* groupInfo);
    bool collectGroup(Package::Entry*& slot, PyObject* group, PyObject* groupInfo, const QString& name);
    bool callCollector(const char* method, const QString& action, PyRef& result, bool capture);
    bool collectExtra(bool fileLists);
    void deleteEntries(bool release);
    QStringList getGroupPkgs(const Package::Entry& entry, const char* oldName, const char* newName);
    QStringList getGroupGrps(const Package::Entry& entry, const char* name);
    PyRef getGroupItem_22(const Package::Entry& entry, const char* listName);
    PyRef getGroupItem_25(const Package::Entry& entry, const char* listName);
    int upToDateGroupGrps(const Package::Entry& entry, const char* name);
    int upToDateGroupPkgs(const Package::Entry& entry, const char* oldName, const char* newName);
    PyRef groupInfo_;

    PyRef rpmDict_;
    PyRef yumIOClass_;
    PyRef yumIO_;
    PyRef reposDict_;

    PyRef bdbQuit_;
    PyRef yumBaseError_;
    PyRef repoError_;
    PyRef sqliteOperationalError_;
    PyRef lockError_;
    PyRef groupsError_;
    PyRef noMoreMirrorsRepoError_;

    bool yumLocked_ = false;
    bool yumVersionKnown_ = false;
    QString yumVersionStr_;
    bool usesSqliteKnown_ = false;
    bool usesSqlite_ = false;
    bool usesPrestoKnown_ = false;
    bool usesPresto_ = false;
    bool hasMultiProgressKnown_ = false;
    bool hasMultiProgress_ = false;

    char timeBuffer_[64] = {};
    char describeBuffer_[1024] = {};

    // -- worker threads
    YumIOCapturers* capturers_ = nullptr;
    // -- end of worker threads

    // -- applying a transaction
    bool applySteps(PyObject* installs, PyObject* updates, PyObject* removes);
    bool applyLists(PyObject* installs, PyObject* updates, PyObject* removes);
    bool applyCall(PyObject* installs, PyObject* updates, PyObject* removes);
    bool localFileMissing(PyObject* package, bool header);
    bool noteTransactionPkgs(Package::Action action, PyObject* members);
    Package::Entry* memberEntry(PyObject* member, QString& name, QString& arch);
    bool displayTransactionPkgs(const QString& word, PyObject* members, bool withRepo);
    bool displayTransactionPkgsObs(PyObject* members);
    bool memberLine(PyObject* member, QString& line);
    PyObject* findRelation(PyObject* member, const char* relation);
    // completing: in, whether a completing update may be meant; out, whether it was found.
    Package::Entry* removalEntry(const QString& name, bool& completing, const char* unexpected);
    void startRemoval(Package::Entry* entry, bool completing, const QString& name, qint64 itemTail);
    void startInstall(Package::Entry* entry, const QString& text, qint64 itemTail);
    static quint64 installWeight(qint64 size);
    static quint64 removeWeight(qint64 size);
    static quint64 completeWeight(qint64 size);
    void applyGrpNote(const QString& format, const Package::Entry* group, const Package::Entry* pkg,
                      const QString& last);
    PyObject* groupList(const Package::Entry* group, bool all);

    QString transactionText_;
    bool transactionListed_ = false;
    bool applied_ = false;
    quint32 packageCount_ = 0;
    quint32 missingHeaders_ = 0;
    quint32 dsActs_ = 0;
    quint32 dsDownloads_ = 0;
    quint32 dsPassActs_ = 0;
    quint32 dsDoneActs_ = 0;
    quint64 transactionWeight_ = 0;
    quint64 totalDownloadWeight_ = 0;
    quint64 toDownloadWeight_ = 0;
    quint32 downloadActs_ = 0;
    bool tsEventStarted_ = false;
    qint64 lastTsIndex_ = -1;
    // The SIGCHLD action in force before sigchldDisable(); owned, null when none is kept.
    struct sigaction* sigchldPrevious_ = nullptr;
    // -- end of applying a transaction

    // -- download progress
    void collectStart(void* meter, const QString& name, RepoAct act, long value, long total);
    long grabMeterSize(PyObject* size);
    bool progressString(PyObject* object, const char* complaint, QString& text);
    qint64 applyAdvance(qint64 bytes);
    // The meter callbacks' arguments parsed and handed to meter.
    static PyObject* meterCall(PyObject* args, YumIOGrabMeter& meter, void (YumIOGrabMeter::*call)(void*, Steps));
    static PyObject* meterCall(PyObject* args, YumIOGrabMeter& meter, void (YumIOGrabMeter::*call)(void*));
    PyObject* meterFailure(PyObject* args, YumIOGrabMeter& meter);

    QStringList repoIds;
    QString contentsWord;
    int collectActs = 0;
    long lastTotal = 0;
    QString lastName;
    YumIOGrabMeter collectMeter_{ *this, YumIOGrabMeter::Rows::PerFile };

    bool downloadingPackages = true;
    qint64 applyActs = 0;
    bool deltaRebuild = false;
    YumIOGrabMeter applyMeter_{ *this, YumIOGrabMeter::Rows::PerMeter };
    // -- end of download progress
};

size_t qHash(const YumIO::EntryKey& key, size_t seed = 0);
