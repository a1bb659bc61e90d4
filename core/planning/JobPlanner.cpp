#include "planning/JobPlanner.h"

#include "base/VantorError.h"
#include "ingest/MediaIngestService.h"
#include "ingest/StagingFiles.h"
#include "presets/PresetService.h"

#include <QDir>
#include <QFileInfo>

namespace vantor::JobPlanner {

namespace {

QString joined(const QStringList &parts)
{
    QStringList present;
    for (const QString &part : parts) {
        if (!part.isEmpty())
            present << part;
    }
    return QDir::cleanPath(present.join(QLatin1Char('/')));
}

// The folder part of a scanned relative path: "A001/CLIP/C0001.MXF" -> "A001/CLIP".
QString subFolder(const QString &relative)
{
    const qsizetype slash = relative.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QString() : relative.left(slash);
}

QString folderUnderRoot(const JobPlan &plan, const QString &pattern)
{
    if (pattern.isEmpty())
        return QString();
    const NamingValues folderValues{{QStringLiteral("PROJECT"), plan.values.value(QStringLiteral("PROJECT"))},
                                    {QStringLiteral("CLIENT"), plan.values.value(QStringLiteral("CLIENT"))},
                                    {QStringLiteral("DATE"), plan.values.value(QStringLiteral("DATE"))}};
    return NamingService::relativePath(pattern, folderValues);
}

const TranscodePreset &presetFor(const JobPlan &plan, const SourceFile &source)
{
    const auto chosen = plan.sourcePresets.constFind(source.url);
    return chosen == plan.sourcePresets.constEnd() ? plan.preset : *chosen;
}

QString copyName(const QString &stem, const SourceFile &source)
{
    const QString extension = QFileInfo(source.url).suffix();
    return NamingService::component(extension.isEmpty() ? stem : stem + QLatin1Char('.') + extension);
}

QString transcodeName(const QString &stem, const TranscodePreset &preset)
{
    return NamingService::component(stem + preset.suffix + QLatin1Char('.') + preset.container);
}

std::optional<QString> beside(const std::optional<QString> &target, const QString &name)
{
    if (!target)
        return std::nullopt;
    return QFileInfo(*target).path() + QLatin1Char('/') + name;
}

// Whether `path` is `folder` or lies below it.
bool within(const QString &path, const QString &folder)
{
    return path == folder || path.startsWith(folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/'));
}

// The plan's backup folders, cleaned; refused before any job is made.
QStringList backupFolders(const JobPlan &plan, const QString &root)
{
    QStringList folders;
    for (const QString &backup : plan.backups) {
        if (backup.isEmpty() || QDir::isRelativePath(backup))
            throw VantorError(QStringLiteral("A backup folder must be an absolute path: “") + backup + QStringLiteral("”."));
        const QString folder = QDir::cleanPath(backup);
        if (within(folder, root) || within(root, folder))
            throw VantorError(QStringLiteral("A backup folder must lie outside the project folder: ") + folder);
        for (const QString &other : folders) {
            if (within(folder, other) || within(other, folder))
                throw VantorError(QStringLiteral("Backup folders must not lie inside one another: ") + folder);
        }
        folders << folder;
    }
    return folders;
}

} // namespace

QString backupPath(const QString &root, const QString &backup, const QString &copy)
{
    const QString cleanRoot = QDir::cleanPath(root);
    const QString below = QDir::cleanPath(copy).mid(cleanRoot.size());
    return joined({backup, QFileInfo(cleanRoot).fileName(), below});
}

JobPlan forProject(const ProjectContext &project, const FileGrant &grant)
{
    JobPlan plan;
    plan.root = QDir::cleanPath(project.root);
    plan.grant = grant;
    plan.values = {{QStringLiteral("PROJECT"), project.name},
                   {QStringLiteral("CLIENT"), project.client},
                   {QStringLiteral("DATE"), project.date}};
    return plan;
}

std::optional<JobOperation> operationFor(const JobPlan &plan, const SourceFile &source)
{
    if (!plan.operation.transcodes() || MediaIngestService::isVideo(source.url))
        return plan.operation;
    // Sidecars and other non-video files on a card are copied, never transcoded.
    if (plan.operation.copies())
        return JobOperation(JobOperation::copy);
    return std::nullopt;
}

NamingValues values(const JobPlan &plan, const SourceFile &source, int index)
{
    NamingValues all = plan.values;
    all.insert(QStringLiteral("ORIGINAL"), QFileInfo(source.url).completeBaseName());
    all.insert(QStringLiteral("COUNTER"), QStringLiteral("%1").arg(index + 1, 4, 10, QLatin1Char('0')));
    return all;
}

QString stem(const JobPlan &plan, const SourceFile &source, int index)
{
    const QString pattern = plan.pattern.value_or(QStringLiteral("{ORIGINAL}"));
    if (pattern.contains(QLatin1String("{ORIGINAL}")))
        NamingService::original(source.url); // refused naming the file: the pattern is not at fault
    return NamingService::expand(pattern, values(plan, source, index));
}

QString outputName(const JobPlan &plan, const SourceFile &source, int index)
{
    const QString base = stem(plan, source, index);
    const std::optional<JobOperation> operation = operationFor(plan, source);
    if (operation && operation->transcodes())
        return transcodeName(base, presetFor(plan, source));
    return copyName(base, source);
}

std::optional<QString> sourceRoot(const SourceFile &source)
{
    const QString path = QDir::cleanPath(source.url);
    const qsizetype slash = source.relative.indexOf(QLatin1Char('/'));
    if (slash < 0 || !path.endsWith(QLatin1Char('/') + source.relative))
        return std::nullopt;
    return path.left(path.size() - source.relative.size() + slash);
}

std::vector<MediaJob> plan(const JobPlan &plan, const std::vector<SourceFile> &sources)
{
    const QString root = QDir::cleanPath(plan.root);
    const QString copyFolder = folderUnderRoot(plan, plan.copyFolder);
    const QString outputFolder = folderUnderRoot(plan, plan.outputFolder);
    const QStringList backups = backupFolders(plan, root);
    std::vector<MediaJob> jobs;
    for (std::size_t index = 0; index < sources.size(); ++index) {
        const SourceFile &source = sources[index];
        const std::optional<JobOperation> operation = operationFor(plan, source);
        if (!operation)
            continue;
        const QString base = stem(plan, source, int(index));
        const QString sub = plan.hierarchy ? subFolder(source.relative) : QString();
        const QString sourcePath = QDir::cleanPath(source.url);
        std::optional<QString> copyTarget;
        std::optional<QString> outputTarget;
        std::optional<TranscodePreset> preset;
        if (operation->copies()) {
            copyTarget = joined({root, copyFolder, sub, copyName(base, source)});
            if (*copyTarget == sourcePath)
                throw VantorError(QStringLiteral("Source and destination are the same. Choose another folder."));
        }
        if (operation->transcodes()) {
            preset = presetFor(plan, source);
            PresetService::validate(*preset);
            outputTarget = joined({root, outputFolder, sub, transcodeName(base, *preset)});
            if (*outputTarget == sourcePath)
                throw VantorError(QStringLiteral("The output would replace a source. Choose another suffix or folder."));
        }
        MediaJob job = MediaJob::make(source.url, source.grant, root, plan.grant, copyTarget, outputTarget, *operation,
                                      preset, operation->copies() ? plan.checksum : std::nullopt, source.size,
                                      source.modified);
        job.sourceRoot = sourceRoot(source);
        if (!plan.mhl)
            job.mhl = false;
        for (const QString &backup : copyTarget ? backups : QStringList()) {
            BackupCopy copy;
            copy.root = backup;
            copy.grant = FileGrant(backup);
            copy.path = backupPath(root, backup, *copyTarget);
            copy.deferred = plan.cascade;
            job.backups.push_back(std::move(copy));
        }
        jobs.push_back(std::move(job));
    }
    return jobs;
}

std::optional<QString> copyTemporary(const MediaJob &job)
{
    return beside(job.copyDestination, StagingFiles::copyName(job.id));
}

std::optional<QString> outputTemporary(const MediaJob &job)
{
    return beside(job.outputDestination, StagingFiles::encodeName(job.id));
}

} // namespace vantor::JobPlanner
