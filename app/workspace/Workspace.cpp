#include "workspace/Workspace.h"

#include "AppInfo.h"
#include "automation/WatchFolderService.h"
#include "ingest/MediaIngestService.h"
#include "ingest/NamingService.h"
#include "files/SafeFiles.h"
#include "ingest/VolumeSpace.h"
#include "platform/RemovableVolumes.h"
#include "base/JsonCodec.h"
#include "base/VantorError.h"
#include "projects/ProjectCreationService.h"
#include "projects/ProjectTemplateService.h"
#include "queue/CardReportWriter.h"
#include "queue/CardTracker.h"
#include "queue/QueueService.h"
#include "presets/PresetService.h"
#include "transcode/TranscodeService.h"
#include "workspace/BackupFolders.h"
#include "workspace/UserChoices.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QSet>
#include <QSettings>

namespace vantor {

namespace {

// A stored boolean, or true when the key is missing or holds something else. The settings file
// is text, so a boolean written by this program reads back as "true" or "false".
bool defaultsFlag(const QSettings &settings, const QString &key)
{
    const QVariant value = settings.value(key);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (value.typeId() == QMetaType::QString) {
        if (value.toString() == QLatin1String("false"))
            return false;
    }
    return true;
}

} // namespace

Workspace::Workspace(const QString &supportDirectory, JobPhases phases, UserChoices *choices, QObject *parent)
    : QObject(parent), m_queue(std::make_unique<QueueService>(supportDirectory, std::move(phases))),
      m_cards(std::make_unique<CardTracker>(m_queue->repository())), m_choices(choices), m_tasks(QString::fromLatin1(AppInfo::identifier) + QStringLiteral(".workspace"))
{
    const AppState &state = m_queue->state();
    m_preset = state.presets.empty() ? PresetService::defaults().first() : state.presets.front();
    m_templateDraft = state.templates.empty() ? ProjectTemplateService::defaults().front() : state.templates.front();
    m_templateID = m_templateDraft.id;
    m_templateText = m_templateDraft.folders.join(QLatin1Char('\n'));
    if (state.project) {
        m_name = state.project->name;
        m_client = state.project->client;
        m_location = QFileInfo(QDir::cleanPath(state.project->root)).path();
    }
    readDefaults();
    // Cascade: once a card is judged on its project copies, its deferred backups are copied from
    // them, whoever queued the card.
    connect(m_cards.get(), &CardTracker::cardEnded, this,
            [this](const QString &root, const QList<QUuid> &ids, const CardVerdict &verdict) {
                if (m_queue->runDeferredBackups(ids) > 0)
                    setNotice(verdict.label() + QStringLiteral(" on the project copies of \u201C") + cardLabel(root)
                              + QStringLiteral("\u201D; copying its backups from them"));
            });
    connect(m_cards.get(), &CardTracker::cardEnded, this, &Workspace::writeOffloadReport);
    m_watcher = std::make_unique<WatchFolderService>(*m_queue);
    connect(m_watcher.get(), &WatchFolderService::notice, this, [this](const QString &text) { setNotice(text); });
    m_volumes = std::make_unique<RemovableVolumes>();
    connect(m_volumes.get(), &RemovableVolumes::ejected, this, [this](const RemovableVolume &volume) {
        setNotice(QStringLiteral("\u201C") + volume.label + QStringLiteral("\u201D ejected and safe to remove"));
    });
    connect(m_volumes.get(), &RemovableVolumes::ejectFailed, this,
            [this](const RemovableVolume &, const QString &message) { setError(message); });
    checkEngine();
}

Workspace::~Workspace()
{
    if (m_comparison)
        m_comparison->cancel();
}

void Workspace::readDefaults()
{
    const QSettings settings(QStringLiteral("Vantor"), QStringLiteral("Vantor"));
    m_verify = defaultsFlag(settings, QStringLiteral("import.verify"));
    m_hierarchy = defaultsFlag(settings, QStringLiteral("import.hierarchy"));
    m_mhl = defaultsFlag(settings, QStringLiteral("import.mhl"));
    const QString checksum = settings.value(QStringLiteral("import.checksum")).toString();
    m_algorithm = ChecksumAlgorithm::xxHash;
    for (ChecksumAlgorithm::Value candidate : {ChecksumAlgorithm::md5, ChecksumAlgorithm::sha256}) {
        if (checksum == ChecksumAlgorithm(candidate).rawValue())
            m_algorithm = candidate;
    }
}

template <typename T> void Workspace::assign(T &field, const T &value, void (Workspace::*changed)())
{
    if (field == value)
        return;
    field = value;
    (this->*changed)();
}

void Workspace::setPage(Page page) { assign(m_page, page, &Workspace::pageChanged); }
void Workspace::setEditingTemplates(bool editing) { assign(m_editingTemplates, editing, &Workspace::projectFieldsChanged); }
void Workspace::setName(const QString &name) { assign(m_name, name, &Workspace::projectFieldsChanged); }
void Workspace::setClient(const QString &client) { assign(m_client, client, &Workspace::projectFieldsChanged); }
void Workspace::setDate(const QDateTime &date) { assign(m_date, date, &Workspace::projectFieldsChanged); }
void Workspace::setLocation(const std::optional<QString> &location) { assign(m_location, location, &Workspace::projectFieldsChanged); }
void Workspace::setTemplateID(const std::optional<QUuid> &id) { assign(m_templateID, id, &Workspace::projectFieldsChanged); }
void Workspace::setOperation(JobOperation operation) { assign(m_operation, operation, &Workspace::planChanged); }
void Workspace::setVerify(bool verify) { assign(m_verify, verify, &Workspace::planChanged); }
void Workspace::setAlgorithm(ChecksumAlgorithm algorithm) { assign(m_algorithm, algorithm, &Workspace::planChanged); }
void Workspace::setCopyFolder(const QString &folder) { assign(m_copyFolder, folder, &Workspace::planChanged); }
void Workspace::setOutputFolder(const QString &folder) { assign(m_outputFolder, folder, &Workspace::planChanged); }
void Workspace::setHierarchy(bool hierarchy) { assign(m_hierarchy, hierarchy, &Workspace::planChanged); }
void Workspace::setMhl(bool mhl) { assign(m_mhl, mhl, &Workspace::planChanged); }
void Workspace::setCascade(bool cascade) { assign(m_cascade, cascade, &Workspace::planChanged); }
void Workspace::setRename(bool rename) { assign(m_rename, rename, &Workspace::planChanged); }
void Workspace::setPattern(const QString &pattern) { assign(m_pattern, pattern, &Workspace::planChanged); }
void Workspace::setCamera(const QString &value) { assign(m_camera, value, &Workspace::planChanged); }
void Workspace::setRoll(const QString &value) { assign(m_roll, value, &Workspace::planChanged); }
void Workspace::setScene(const QString &value) { assign(m_scene, value, &Workspace::planChanged); }
void Workspace::setShot(const QString &value) { assign(m_shot, value, &Workspace::planChanged); }
void Workspace::setTake(const QString &value) { assign(m_take, value, &Workspace::planChanged); }
void Workspace::setRenameConfirmation(bool showing)
{
    assign(m_renameConfirmation, showing, &Workspace::renameConfirmationChanged);
}
void Workspace::setPreset(const TranscodePreset &preset) { assign(m_preset, preset, &Workspace::planChanged); }
void Workspace::setTemplateText(const QString &text) { assign(m_templateText, text, &Workspace::templateChanged); }
void Workspace::setTemplateName(const QString &name)
{
    if (m_templateDraft.name == name)
        return;
    m_templateDraft.name = name;
    Q_EMIT templateChanged();
}

void Workspace::setCustomPresetName(const QString &name) { assign(m_customPresetName, name, &Workspace::planChanged); }
void Workspace::setError(const std::optional<QString> &error) { assign(m_error, error, &Workspace::errorChanged); }
void Workspace::setNotice(const QString &notice) { assign(m_notice, notice, &Workspace::noticeChanged); }
void Workspace::setScanning(bool scanning) { assign(m_scanning, scanning, &Workspace::scanningChanged); }

void Workspace::setSources(const std::vector<SourceFile> &sources)
{
    m_sources = sources;
    // Per-source overrides live only as long as their source is listed.
    if (!m_sourcePresets.isEmpty()) {
        QSet<QString> listed;
        for (const SourceFile &source : m_sources)
            listed.insert(source.url);
        for (auto entry = m_sourcePresets.begin(); entry != m_sourcePresets.end();) {
            if (listed.contains(entry.key()))
                ++entry;
            else
                entry = m_sourcePresets.erase(entry);
        }
    }
    Q_EMIT sourcesChanged();
}

void Workspace::setSourcePreset(const QString &url, const std::optional<TranscodePreset> &preset)
{
    if (preset)
        m_sourcePresets.insert(url, *preset);
    else
        m_sourcePresets.remove(url);
    Q_EMIT sourcesChanged();
}

QString Workspace::dateText(const QDateTime &date) const
{
    return QLocale::c().toString(date.date(), QStringLiteral("yyyy-MM-dd"));
}

// ---- Sources

void Workspace::receive(const QStringList &urls, std::optional<Page> destination)
{
    const Page target = destination.value_or(m_page == Page::transcode ? Page::transcode : Page::ingest);
    if (m_scanning)
        return;
    setScanning(true);
    m_tasks.post([this, urls, target] {
        try {
            std::vector<SourceFile> scanned = MediaIngestService::scan(urls);
            QMetaObject::invokeMethod(this, [this, scanned = std::move(scanned), target] {
                QSet<QString> listed;
                for (const SourceFile &source : m_sources)
                    listed.insert(source.url);
                std::vector<SourceFile> combined = m_sources;
                for (const SourceFile &source : scanned) {
                    if (!listed.contains(source.url)) {
                        combined.push_back(source);
                        listed.insert(source.url);
                    }
                }
                setSources(combined);
                setNotice(QString::number(m_sources.size()) + QStringLiteral(" source files ready"));
                setPage(target);
                setScanning(false);
            }, Qt::QueuedConnection);
        } catch (const std::exception &failure) {
            reportBackgroundFailure(errorText(failure));
        }
    });
}

void Workspace::writeOffloadReport(const QString &sourceRoot, const QList<QUuid> &jobIds, const CardVerdict &verdict)
{
    std::vector<MediaJob> jobs;
    for (const QUuid &id : jobIds) {
        if (const MediaJob *job = m_queue->repository().job(id))
            jobs.push_back(*job);
    }
    if (jobs.empty())
        return;
    m_tasks.post([this, sourceRoot, jobs = std::move(jobs), verdict] {
        try {
            const CardReportWriter::Written written = CardReportWriter::write(sourceRoot, jobs, verdict);
            QMetaObject::invokeMethod(this, [this, sourceRoot, written] {
                Q_EMIT offloadReportWritten(sourceRoot, {written.html, written.json});
            }, Qt::QueuedConnection);
        } catch (const std::exception &failure) {
            // The verdict stands; only the report is missing, and the user is told so.
            const QString text = QStringLiteral("The offload report for \u201C") + cardLabel(sourceRoot)
                                 + QStringLiteral("\u201D could not be written: ") + errorText(failure);
            QMetaObject::invokeMethod(this, [this, text] {
                setNotice(text);
                Q_EMIT offloadReportFailed(text);
            }, Qt::QueuedConnection);
        }
    });
}

void Workspace::finishReports()
{
    m_tasks.flush();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

void Workspace::reportBackgroundFailure(const QString &message)
{
    // Called from a background task: the fields change on the main thread only.
    QMetaObject::invokeMethod(this, [this, message] {
        setError(message);
        setScanning(false);
    }, Qt::QueuedConnection);
}

void Workspace::addSources()
{
    const QStringList chosen = m_choices->chooseFiles(QStringLiteral("Add media, folders or camera cards"));
    if (!chosen.isEmpty())
        receive(chosen);
}

void Workspace::addTranscodeSources()
{
    const QStringList chosen = m_choices->chooseFiles(QStringLiteral("Open Video Sources"));
    if (!chosen.isEmpty())
        receive(chosen, Page::transcode);
}

std::optional<QString> Workspace::directory(const QString &title)
{
    const std::optional<QString> chosen = m_choices->chooseFolder(title);
    if (!chosen)
        return std::nullopt;
    return QDir::cleanPath(QFileInfo(*chosen).absoluteFilePath());
}

// ---- Naming

JobPlan Workspace::plan() const
{
    const AppState &state = m_queue->state();
    JobPlan plan;
    if (state.project)
        plan = JobPlanner::forProject(*state.project, state.projectGrant.value_or(FileGrant()));
    else
        plan.values = {{QStringLiteral("PROJECT"), m_name},
                       {QStringLiteral("CLIENT"), m_client},
                       {QStringLiteral("DATE"), dateText(m_date)}};
    plan.operation = m_operation;
    plan.copyFolder = m_copyFolder;
    plan.outputFolder = m_outputFolder;
    plan.hierarchy = m_hierarchy;
    plan.mhl = m_mhl;
    plan.backups = m_backupFolders;
    plan.cascade = m_cascade;
    plan.checksum = m_verify ? std::optional(m_algorithm) : std::nullopt;
    plan.pattern = m_rename ? std::optional(m_pattern) : std::nullopt;
    plan.values.insert(QStringLiteral("CAMERA"), m_camera);
    plan.values.insert(QStringLiteral("ROLL"), m_roll);
    plan.values.insert(QStringLiteral("SCENE"), m_scene);
    plan.values.insert(QStringLiteral("SHOT"), m_shot);
    plan.values.insert(QStringLiteral("TAKE"), m_take);
    plan.preset = m_preset;
    return plan;
}

std::optional<QString> Workspace::outputName(const SourceFile &source, int index) const
{
    try {
        return JobPlanner::outputName(plan(), source, index);
    } catch (const std::exception &) {
        return std::nullopt;
    }
}

// ---- Engine

void Workspace::checkEngine()
{
    const QString custom = m_queue->state().ffmpeg;
    m_tasks.post([this, custom] {
        QString status;
        try {
            status = TranscodeService::executable(custom, false).isEmpty() ? QStringLiteral("Processing unavailable")
                                                                           : QStringLiteral("Ready to process");
        } catch (const std::exception &) {
            status = QStringLiteral("Processing engine unavailable");
        }
        QMetaObject::invokeMethod(this, [this, status] {
            assign(m_engineStatus, status, &Workspace::engineStatusChanged);
        }, Qt::QueuedConnection);
    });
}

// ---- Queueing the Import plan

std::vector<MediaJob> Workspace::importJobs() const
{
    const AppState &state = m_queue->state();
    if (!state.project || !state.projectGrant)
        throw VantorError(QStringLiteral("Create or open a project first."));
    if (m_sources.empty())
        throw VantorError(QStringLiteral("Add source media first."));
    if (m_operation.transcodes())
        PresetService::validate(m_preset);
    if (m_operation.copies()) {
        for (const QString &folder : m_backupFolders) // a drive may have gone since it was added
            BackupFolders::assertAvailable(folder);
    }
    return JobPlanner::plan(plan(), m_sources);
}

namespace {

QString planText(const ImportPlan &plan, const QString &verb)
{
    QString text = QString::number(plan.jobs.size()) + QStringLiteral(" jobs ") + verb;
    if (!plan.offloaded.empty())
        text += QStringLiteral(" \u00B7 %1 already offloaded").arg(plan.offloaded.size());
    return text;
}

} // namespace

void Workspace::buildImportPlan(const std::function<void(const ImportPlan &)> &then)
{
    std::vector<MediaJob> jobs;
    try {
        jobs = importJobs();
    } catch (const std::exception &failure) {
        setError(errorText(failure));
        return;
    }
    const auto conclude = [this, then](const ImportPlan &plan) {
        try {
            VolumeSpace::assertFits(plan.jobs);
            then(plan);
            m_importPlan = plan;
        } catch (const std::exception &failure) {
            setError(errorText(failure));
        }
    };
    if (!ImportPlan::needsComparison(jobs)) {
        conclude(ImportPlan{jobs, {}});
        return;
    }
    // Existing copies are read whole to be compared: never on the main thread.
    setScanning(true);
    m_comparison = std::make_shared<JobControl>();
    m_tasks.post([this, jobs, algorithm = m_algorithm, control = m_comparison, conclude] {
        try {
            const ImportPlan plan = ImportPlan::settle(jobs, algorithm, *control);
            QMetaObject::invokeMethod(this, [this, plan, conclude] {
                conclude(plan);
                setScanning(false);
            }, Qt::QueuedConnection);
        } catch (const CancellationError &) {
            // The workspace is going away; nothing was queued.
        } catch (const std::exception &failure) {
            reportBackgroundFailure(errorText(failure));
        }
    });
}

void Workspace::enqueue(bool start)
{
    buildImportPlan([this, start](const ImportPlan &plan) {
        if (!plan.jobs.empty())
            m_queue->enqueue(plan.jobs);
        setSources({});
        setPage(Page::queue);
        setNotice(planText(plan, QStringLiteral("queued")));
        if (start && !plan.jobs.empty())
            m_queue->start();
    });
}

void Workspace::planImport()
{
    buildImportPlan([this](const ImportPlan &plan) { setNotice(planText(plan, QStringLiteral("planned"))); });
}

void Workspace::queueImport(bool start)
{
    if (!m_rename) {
        enqueue(start);
        return;
    }
    assign(m_renameConfirmation, true, &Workspace::renameConfirmationChanged);
    const bool accepted = m_choices->confirm(
        QStringLiteral("Use the previewed output names?"),
        QStringLiteral("Only newly created copies and transcodes receive these names. Original source filenames "
                       "remain unchanged."));
    assign(m_renameConfirmation, false, &Workspace::renameConfirmationChanged);
    if (accepted)
        enqueue(start);
}

// ---- Queueing transcodes

std::vector<MediaJob> Workspace::transcodeJobs() const
{
    const AppState &state = m_queue->state();
    if (!state.transcodeDestination)
        throw VantorError(QStringLiteral("Choose an output folder."));
    if (std::none_of(m_sources.begin(), m_sources.end(),
                     [](const SourceFile &source) { return MediaIngestService::isVideo(source.url); }))
        throw VantorError(QStringLiteral("Open video sources first."));
    PresetService::validate(m_preset);
    const QString folder = QDir::cleanPath(state.transcodeDestination->resolve());
    SafeFiles::existingDirectory(folder);
    JobPlan plan;
    plan.operation = JobOperation::transcode;
    plan.root = folder;
    plan.grant = *state.transcodeDestination;
    plan.hierarchy = false;
    plan.preset = m_preset;
    plan.sourcePresets = m_sourcePresets;
    return JobPlanner::plan(plan, m_sources);
}

void Workspace::enqueueTranscodes(bool start)
{
    try {
        const std::vector<MediaJob> jobs = transcodeJobs();
        m_queue->enqueue(jobs);
        QSet<QString> queued;
        for (const MediaJob &job : jobs)
            queued.insert(job.source);
        std::vector<SourceFile> remaining;
        for (const SourceFile &source : m_sources) {
            if (!queued.contains(source.url))
                remaining.push_back(source);
        }
        setSources(remaining);
        setNotice(QString::number(jobs.size()) + QStringLiteral(" transcodes queued"));
        if (start) {
            m_queue->start();
            setPage(Page::queue);
        }
    } catch (const std::exception &failure) {
        setError(errorText(failure));
    }
}

// ---- Projects

void Workspace::createProject()
{
    if (!m_location) {
        setError(QStringLiteral("Choose a project location."));
        return;
    }
    const std::vector<ProjectTemplate> &stored = m_queue->state().templates;
    const auto chosen = std::find_if(stored.begin(), stored.end(),
                                     [&](const ProjectTemplate &entry) { return entry.id == m_templateID; });
    if (!m_templateID || chosen == stored.end()) {
        setError(QStringLiteral("Choose a template."));
        return;
    }
    setScanning(true);
    m_tasks.post([this, name = m_name, client = m_client, date = dateText(m_date), parent = *m_location,
                  projectTemplate = *chosen] {
        try {
            const ProjectContext project = ProjectCreationService::create(name, client, date, parent, projectTemplate);
            QMetaObject::invokeMethod(this, [this, project, folders = projectTemplate.folders.size()] {
                m_queue->repository().setProject(project);
                Q_EMIT projectFieldsChanged();
                setNotice(QStringLiteral("Project created \u00B7 %1 folders").arg(folders));
                setPage(Page::ingest);
                setScanning(false);
            }, Qt::QueuedConnection);
        } catch (const std::exception &failure) {
            reportBackgroundFailure(errorText(failure));
        }
    });
}

void Workspace::openProject()
{
    if (const std::optional<QString> folder = directory(QStringLiteral("Open project folder")))
        openProjectFolder(*folder);
}

void Workspace::openProjectFolder(const QString &chosen)
{
    const QString folder = QDir::cleanPath(QFileInfo(chosen).absoluteFilePath());
    if (!QFileInfo(folder).isDir()) {
        setError((QFileInfo::exists(folder) ? QStringLiteral("The project must be a folder: ")
                                            : QStringLiteral("The project folder does not exist: "))
                 + folder);
        return;
    }
    const QString folderName = QFileInfo(folder).fileName();
    ProjectContext project;
    const QString marker = folder + QLatin1Char('/') + QString::fromLatin1(ProjectCreationService::markerName);
    if (QFileInfo(marker).isFile()) {
        try {
            QFile file(marker);
            if (!file.open(QIODevice::ReadOnly))
                throw VantorError(QStringLiteral("The project file could not be read: ") + marker);
            project = ProjectContext::fromJson(JsonCodec::parse(file.readAll()));
        } catch (const std::exception &failure) {
            setError(errorText(failure));
            return;
        }
        // The folder opened is the project, wherever it was when its marker was written.
        project.root = folder;
    } else {
        project = ProjectContext{folderName, QString(), dateText(m_date), folder};
    }
    m_queue->repository().setProject(project);
    setName(folderName);
    Q_EMIT projectFieldsChanged();
    setPage(Page::ingest);
}

void Workspace::chooseLocation()
{
    if (const std::optional<QString> folder = directory(QStringLiteral("Project destination")))
        setLocation(folder);
}

void Workspace::chooseTranscodeDestination()
{
    if (const std::optional<QString> folder = directory(QStringLiteral("Transcode Output Folder"))) {
        m_queue->repository().setTranscodeDestination(FileGrant(*folder));
    }
}

// ---- Backup destinations

void Workspace::addBackupFolder(const QString &folder)
{
    const AppState &state = m_queue->state();
    try {
        m_backupFolders << BackupFolders::checked(folder, m_backupFolders,
                                                  state.project ? std::optional(state.project->root) : std::nullopt);
    } catch (const std::exception &failure) {
        setError(errorText(failure));
        return;
    }
    Q_EMIT planChanged();
}

void Workspace::chooseBackupFolder()
{
    if (const std::optional<QString> folder = m_choices->chooseFolder(QStringLiteral("Choose backup destination")))
        addBackupFolder(*folder);
}

void Workspace::removeBackupFolder(int row)
{
    if (row < 0 || row >= m_backupFolders.size())
        return;
    m_backupFolders.removeAt(row);
    Q_EMIT planChanged();
}

// ---- Templates

void Workspace::selectTemplate(const ProjectTemplate &projectTemplate)
{
    m_templateDraft = projectTemplate;
    m_templateText = projectTemplate.folders.join(QLatin1Char('\n'));
    Q_EMIT templateChanged();
}

void Workspace::newTemplate(bool duplicate)
{
    ProjectTemplate draft;
    draft.id = QUuid::createUuid();
    if (duplicate) {
        draft.name = m_templateDraft.name + QStringLiteral(" copy");
        draft.folders = m_templateDraft.folders;
    } else {
        draft.name = QStringLiteral("Untitled template");
        draft.folders = {QStringLiteral("01_PROJECT FILES"), QStringLiteral("02_FOOTAGE/ORIGINALS"),
                         QStringLiteral("02_FOOTAGE/PROXIES"), QStringLiteral("03_AUDIO"),
                         QStringLiteral("08_EXPORTS")};
    }
    selectTemplate(draft);
    saveTemplate();
}

void Workspace::saveTemplate()
{
    static const QRegularExpression lineBreak(QStringLiteral("\\r\\n|[\\n\\r\\x{0B}\\x{0C}\\x{85}\\x{2028}\\x{2029}]"));
    ProjectTemplate draft = m_templateDraft;
    draft.folders.clear();
    for (const QString &line : m_templateText.split(lineBreak)) {
        qsizetype begin = 0;
        qsizetype end = line.size();
        while (begin < end && (line[begin] == u' ' || line[begin] == u'\t'))
            ++begin;
        while (end > begin && (line[end - 1] == u' ' || line[end - 1] == u'\t'))
            --end;
        if (end > begin)
            draft.folders << line.mid(begin, end - begin);
    }
    try {
        ProjectTemplateService::validate(draft, {{QStringLiteral("PROJECT"), QStringLiteral("Project")},
                                                 {QStringLiteral("CLIENT"), QStringLiteral("Client")},
                                                 {QStringLiteral("DATE"), QStringLiteral("2026-09-29")}});
    } catch (const std::exception &failure) {
        setError(errorText(failure));
        return;
    }
    m_queue->repository().putTemplate(draft);
    m_templateDraft = draft;
    Q_EMIT templateChanged();
    setNotice(QStringLiteral("Template saved"));
}

// ---- Presets

void Workspace::savePreset()
{
    try {
        TranscodePreset custom = m_preset;
        custom.id = QUuid::createUuid();
        custom.name = NamingService::component(m_customPresetName);
        PresetService::validate(custom);
        m_queue->repository().addPreset(custom);
        setPreset(custom);
        setNotice(QStringLiteral("Custom preset saved"));
        setCustomPresetName(QString());
    } catch (const std::exception &failure) {
        setError(errorText(failure));
    }
}

void Workspace::removePreset(const QUuid &id)
{
    const std::vector<TranscodePreset> &stored = m_queue->state().presets;
    const auto found =
        std::find_if(stored.begin(), stored.end(), [&](const TranscodePreset &preset) { return preset.id == id; });
    if (found == stored.end()) {
        setError(QStringLiteral("The preset is no longer stored."));
        return;
    }
    const QList<TranscodePreset> builtIns = PresetService::defaults();
    if (std::any_of(builtIns.begin(), builtIns.end(), [&](const TranscodePreset &builtIn) { return builtIn.name == found->name; })) {
        setError(QString::fromUtf8("\u201c") + found->name
                 + QString::fromUtf8("\u201d is a built-in preset and cannot be removed."));
        return;
    }
    const QString name = found->name;
    m_queue->repository().removePreset(id);
    if (m_preset.id == id)
        setPreset(stored.empty() ? builtIns.first() : stored.front());
    setNotice(QString::fromUtf8("Preset \u201c") + name + QString::fromUtf8("\u201d removed"));
}

// ---- Folder automation

void Workspace::addWatchFolder()
{
    const std::optional<QString> source = directory(QStringLiteral("Choose folder to watch"));
    if (!source)
        return;
    const std::optional<QString> destination = directory(QStringLiteral("Choose transcode destination"));
    if (!destination)
        return;
    try {
        m_watcher->addRule(*source, *destination, m_preset);
    } catch (const std::exception &failure) {
        setError(errorText(failure));
    }
}


// ---- Removable volumes

void Workspace::eject(const QString &path)
{
    const std::optional<RemovableVolume> volume = m_volumes->containing(path);
    if (!volume) {
        setError(QStringLiteral("Only a mounted removable volume can be ejected: ") + path);
        return;
    }
    // Ejecting under a running or waiting job would fail it half-way; the card stays until it is done.
    const QString root = volume->mountPoint + u'/';
    for (const MediaJob &job : m_queue->state().jobs) {
        if (!job.status.final() && (job.source.startsWith(root) || (job.destinationRoot + u'/').startsWith(root))) {
            setError(QStringLiteral("\u201C") + volume->label
                     + QStringLiteral("\u201D is still in use by the queue: let its jobs finish, or cancel them, "
                                      "before ejecting it."));
            return;
        }
    }
    m_volumes->eject(*volume);
}

} // namespace vantor
