#pragma once

#include "base/ChecksumAlgorithm.h"
#include "cards/CardVerdict.h"
#include "jobs/JobStatus.h"
#include "jobs/SourceFile.h"
#include "planning/JobPlanner.h"
#include "projects/ProjectTemplate.h"
#include "queue/JobPhases.h"
#include "state/PersistenceQueue.h"
#include "presets/TranscodePreset.h"
#include "workspace/ImportPlan.h"
#include "workspace/Page.h"

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QUuid>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vantor {

class CardTracker;
class QueueService;
class RemovableVolumes;
class UserChoices;
class WatchFolderService;

// The application's one view model, on the main thread: it owns the queue and the folder
// automation, holds what the user is editing, and turns actions into validated batches of jobs.
// Actions never throw: a refusal lands in error() and changes nothing else, an outcome in notice().
class Workspace : public QObject {
    Q_OBJECT
public:
    // Opens the support folder's queue (throws VantorError when another process holds it), reads
    // the import defaults and starts the engine check. The folder automation waits for its
    // start(): only the window and `vantor watch run` poll. `choices` answers
    // the actions' dialogs and must outlive the workspace.
    Workspace(const QString &supportDirectory, JobPhases phases, UserChoices *choices, QObject *parent = nullptr);
    ~Workspace() override;

    QueueService &queue() { return *m_queue; }
    // The cards of the queue and their verdicts once their last job ended.
    CardTracker &cards() { return *m_cards; }
    WatchFolderService *watcher() { return m_watcher.get(); }
    // Mounted cards and drives the user can take away, followed once started (the window does);
    // empty without a system bus.
    RemovableVolumes &volumes() { return *m_volumes; }

    Page page() const { return m_page; }
    bool editingTemplates() const { return m_editingTemplates; }
    QString name() const { return m_name; }
    QString client() const { return m_client; }
    QDateTime date() const { return m_date; }
    std::optional<QString> location() const { return m_location; }
    std::optional<QUuid> templateID() const { return m_templateID; }
    const std::vector<SourceFile> &sources() const { return m_sources; }
    const QMap<QString, TranscodePreset> &sourcePresets() const { return m_sourcePresets; }
    bool scanning() const { return m_scanning; }
    JobOperation operation() const { return m_operation; }
    bool verify() const { return m_verify; }
    ChecksumAlgorithm algorithm() const { return m_algorithm; }
    QString copyFolder() const { return m_copyFolder; }
    QString outputFolder() const { return m_outputFolder; }
    bool hierarchy() const { return m_hierarchy; }
    bool mhl() const { return m_mhl; } // "import.mhl": ASC MHL histories for each card
    // Folders on other drives that each copy also goes to, in the order added.
    const QStringList &backupFolders() const { return m_backupFolders; }
    bool cascade() const { return m_cascade; } // backups copied from the verified project copy
    bool rename() const { return m_rename; }
    QString pattern() const { return m_pattern; }
    QString camera() const { return m_camera; }
    QString roll() const { return m_roll; }
    QString scene() const { return m_scene; }
    QString shot() const { return m_shot; }
    QString take() const { return m_take; }
    const TranscodePreset &preset() const { return m_preset; }
    std::optional<QString> error() const { return m_error; }
    QString notice() const { return m_notice; }
    const ProjectTemplate &templateDraft() const { return m_templateDraft; }
    QString templateText() const { return m_templateText; }
    QString customPresetName() const { return m_customPresetName; }
    QString engineStatus() const { return m_engineStatus; }
    bool renameConfirmation() const { return m_renameConfirmation; }
    // The Import plan last queued or planned, with what was already offloaded.
    const ImportPlan &importPlan() const { return m_importPlan; }

    void setPage(Page page);
    void setEditingTemplates(bool editing);
    void setName(const QString &name);
    void setClient(const QString &client);
    void setDate(const QDateTime &date);
    void setLocation(const std::optional<QString> &location);
    void setTemplateID(const std::optional<QUuid> &id);
    void setSources(const std::vector<SourceFile> &sources); // runs the sources reaction
    void setSourcePreset(const QString &url, const std::optional<TranscodePreset> &preset);
    void setOperation(JobOperation operation);
    void setVerify(bool verify);
    void setAlgorithm(ChecksumAlgorithm algorithm);
    void setCopyFolder(const QString &folder);
    void setOutputFolder(const QString &folder);
    void setHierarchy(bool hierarchy);
    void setMhl(bool mhl);
    void setCascade(bool cascade);
    void setRename(bool rename);
    void setPattern(const QString &pattern);
    void setCamera(const QString &value);
    void setRoll(const QString &value);
    void setScene(const QString &value);
    void setShot(const QString &value);
    void setTake(const QString &value);
    void setPreset(const TranscodePreset &preset);
    void setTemplateText(const QString &text);
    void setTemplateName(const QString &name); // the draft's name; stored by saveTemplate()
    void setCustomPresetName(const QString &name);
    void setError(const std::optional<QString> &error);
    void setNotice(const QString &notice);
    // The Import page's "Use the previewed output names?" is showing.
    void setRenameConfirmation(bool showing);

    // Sources: scanned off the main thread, applied back on it. `destination` none means the
    // Transcode page when it is showing, else the Import page.
    void receive(const QStringList &urls, std::optional<Page> destination = std::nullopt);
    void addSources();          // "Add media, folders or camera cards"
    void addTranscodeSources(); // "Open Video Sources"
    std::optional<QString> directory(const QString &title);

    // The Import page's plan as edited, into the open project (its naming values from the
    // fields while none is open).
    JobPlan plan() const;
    // The previewed name of the source at `index` in the list; none when it has no usable name.
    std::optional<QString> outputName(const SourceFile &source, int index) const;

    void checkEngine();

    // Actions. Building the Import plan compares the copies already at their destinations with
    // their sources off the main thread (scanning is true meanwhile); a plan whose copies do not
    // fit on their volumes is refused.
    void enqueue(bool start = true);
    // The Import plan as enqueue() would queue it, into importPlan(), without queueing anything.
    void planImport();
    // The Import page's "Queue & start": with renaming on, the previewed names are confirmed first.
    void queueImport(bool start = true);
    void enqueueTranscodes(bool start);
    void createProject();
    void openProject();
    void openProjectFolder(const QString &folder);
    void chooseLocation();
    void chooseTranscodeDestination();
    // Backup destinations of the Import plan: refused with a message in error() when the folder
    // cannot take backups of the open project.
    void addBackupFolder(const QString &folder);
    void chooseBackupFolder(); // "Choose backup destination", then addBackupFolder
    void removeBackupFolder(int row);
    void selectTemplate(const ProjectTemplate &projectTemplate);
    void newTemplate(bool duplicate);
    void saveTemplate();
    void savePreset();
    // Removes a stored custom preset; the built-in presets stay. The current preset falls back
    // to the first stored one when it was the one removed.
    void removePreset(const QUuid &id);
    // Folder automation's "add rule": the watched folder, then the destination.
    void addWatchFolder();
    // Ejects the removable volume that holds `path` (a card's mount point or a folder on it):
    // refused while an unfinished job reads from it or writes to it. The outcome arrives as
    // notice() or error().
    void eject(const QString &path);
    // Returns once every offload report asked for so far is written and announced.
    void finishReports();

Q_SIGNALS:
    void pageChanged();
    void projectFieldsChanged(); // editingTemplates, name, client, date, location, templateID
    void sourcesChanged();       // sources, sourcePresets
    void scanningChanged();
    // operation, verify, algorithm, folders, hierarchy, mhl, backups, cascade, naming, preset, customPresetName
    void planChanged();
    void templateChanged(); // templateDraft, templateText
    void errorChanged();
    void noticeChanged();
    void engineStatusChanged();
    void renameConfirmationChanged();
    // A judged card's offload report, written into its project (the HTML, then the JSON).
    void offloadReportWritten(const QString &sourceRoot, const QStringList &paths);
    void offloadReportFailed(const QString &message); // also the notice

private:
    template <typename T> void assign(T &field, const T &value, void (Workspace::*changed)());
    void setScanning(bool scanning);
    void reportBackgroundFailure(const QString &message);
    void writeOffloadReport(const QString &sourceRoot, const QList<QUuid> &jobIds, const CardVerdict &verdict);
    void readDefaults();
    QString dateText(const QDateTime &date) const;
    std::vector<MediaJob> importJobs() const;    // throws
    void buildImportPlan(const std::function<void(const ImportPlan &)> &then);
    std::vector<MediaJob> transcodeJobs() const; // throws

    std::unique_ptr<QueueService> m_queue;
    std::unique_ptr<CardTracker> m_cards; // watches the queue's repository: goes first
    UserChoices *m_choices;
    Page m_page = Page::transcode;
    bool m_editingTemplates = false;
    QString m_name;
    QString m_client;
    QDateTime m_date = QDateTime::currentDateTime();
    std::optional<QString> m_location;
    std::optional<QUuid> m_templateID;
    std::vector<SourceFile> m_sources;
    QMap<QString, TranscodePreset> m_sourcePresets;
    bool m_scanning = false;
    JobOperation m_operation = JobOperation::copyAndTranscode;
    bool m_verify = true;
    ChecksumAlgorithm m_algorithm;
    QString m_copyFolder = QStringLiteral("02_FOOTAGE/ORIGINALS");
    QString m_outputFolder = QStringLiteral("02_FOOTAGE/PROXIES");
    bool m_hierarchy = true;
    bool m_mhl = true;
    QStringList m_backupFolders;
    bool m_cascade = false;
    bool m_rename = false;
    QString m_pattern = QStringLiteral("{ORIGINAL}");
    QString m_camera, m_roll, m_scene, m_shot, m_take;
    TranscodePreset m_preset;
    std::optional<QString> m_error;
    QString m_notice = QStringLiteral("Ready");
    ProjectTemplate m_templateDraft;
    QString m_templateText;
    QString m_customPresetName;
    QString m_engineStatus = QStringLiteral("Checking processing engine\u2026");
    bool m_renameConfirmation = false;
    ImportPlan m_importPlan;
    std::shared_ptr<JobControl> m_comparison; // cancelled when the workspace goes away
    std::unique_ptr<WatchFolderService> m_watcher;
    std::unique_ptr<RemovableVolumes> m_volumes;
    // Scans, engine lookups and project creation, one at a time; joined before anything above
    // goes away.
    PersistenceQueue m_tasks;
};

} // namespace vantor
