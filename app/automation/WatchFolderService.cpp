#include "automation/WatchFolderService.h"

#include "AppInfo.h"
#include "ingest/MediaIngestService.h"
#include "files/SafeFiles.h"
#include "ingest/NamingService.h"
#include "base/VantorError.h"
#include "projects/WatchFolder.h"
#include "queue/QueueService.h"
#include "planning/JobPlanner.h"
#include "presets/PresetService.h"

#include <QDir>
#include <QFileInfo>
#include <chrono>

namespace vantor {

namespace {

double monotonicSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

QString uuidText(const QUuid &id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

const WatchFolder *findRule(const AppState &state, const QUuid &id)
{
    for (const WatchFolder &rule : state.watches) {
        if (rule.id == id)
            return &rule;
    }
    return nullptr;
}

} // namespace

WatchFolderService::WatchFolderService(QueueService &queue, QObject *parent)
    : QObject(parent), m_queue(queue), m_clock(monotonicSeconds),
      m_scans(QString::fromLatin1(AppInfo::identifier) + QStringLiteral(".watch"))
{
    m_timer.setInterval(interval);
    // A coarse timer may fire up to 5% early; two early polls would fall short of the stability
    // window and hold a finished file back for a whole extra poll.
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, [this] { poll(); });
}

void WatchFolderService::start()
{
    if (started())
        return;
    m_timer.start();
    poll();
}

WatchFolderService::~WatchFolderService() = default;

void WatchFolderService::setTiming(int intervalMs, double stableForSeconds)
{
    m_timer.setInterval(intervalMs);
    m_stableFor = stableForSeconds;
}

void WatchFolderService::poll()
{
    if (m_polling)
        return;
    m_polling = true;
    std::vector<QUuid> rules;
    for (const WatchFolder &rule : m_queue.state().watches) {
        if (rule.enabled)
            rules.push_back(rule.id);
    }
    pollRule(std::move(rules), 0);
}

void WatchFolderService::pollRule(std::vector<QUuid> rules, std::size_t position)
{
    if (position >= rules.size()) {
        finishPass();
        return;
    }
    const QUuid id = rules[position];
    const WatchFolder *rule = findRule(m_queue.state(), id);
    if (!rule) { // removed while the pass waited
        pollRule(std::move(rules), position + 1);
        return;
    }
    m_scans.post([this, source = rule->source, destination = rule->destination, id, rules, position] {
        std::vector<SourceFile> files;
        QStringList skipped;
        QString failure;
        try {
            const QString folder = QDir::cleanPath(source.resolve());
            const QString output = QDir::cleanPath(destination.resolve());
            if (output == folder || SafeFiles::descendant(output, folder))
                throw VantorError(QStringLiteral("Watch output must be outside the watched folder."));
            files = MediaIngestService::scan({folder}, &skipped); // one bad entry must not hold back the rest
        } catch (const std::exception &error) {
            failure = errorText(error);
        }
        QMetaObject::invokeMethod(this, [this, id, files = std::move(files), skipped, failure, rules, position] {
            if (failure.isEmpty()) {
                reportSkipped(id, skipped);
                applyScan(id, files);
            } else
                report(failure);
            pollRule(rules, position + 1);
        }, Qt::QueuedConnection);
    });
}

void WatchFolderService::applyScan(const QUuid &id, const std::vector<SourceFile> &files)
{
    QueueService &queue = m_queue;
    try {
        for (const SourceFile &file : files) {
            if (!MediaIngestService::isVideo(file.url))
                continue;
            const WatchFolder *rule = findRule(queue.state(), id);
            if (!rule)
                return;
            const QString key = uuidText(id) + QLatin1Char('/') + file.url;
            const QString signature = WatchFolder::versionSignature(file.size, file.modified);
            if (rule->seen.value(file.url) == signature)
                continue;
            const double now = m_clock();
            const auto known = m_stability.constFind(key);
            if (known == m_stability.constEnd() || known->signature != signature) {
                m_stability.insert(key, {signature, now});
                continue;
            }
            // Polls land 10 s apart give or take the timer's and the scan's jitter: two of them
            // must count as 20 s even when the second ran a few milliseconds short.
            if (now - known->since < m_stableFor * (1.0 - jitterAllowance / stableFor))
                continue;

            JobPlan plan;
            plan.operation = JobOperation::transcode;
            plan.root = QDir::cleanPath(rule->destination.resolve());
            plan.grant = rule->destination;
            plan.preset = rule->preset;
            bool queued = true;
            try {
                queue.enqueue(JobPlanner::plan(plan, {file}));
            } catch (const UnusableNameError &refused) {
                // A name that cannot be used is reported once per version, not every poll, and
                // does not hold back the files after it.
                report(refused.message());
                queued = false;
            }
            // The state may have changed while the scan ran: mark the rule only if it is still there.
            if (const WatchFolder *current = findRule(queue.state(), id)) {
                WatchFolder marked = *current;
                marked.seen.insert(file.url, signature);
                queue.repository().updateWatch(marked);
            }
            if (queued)
                queue.start();
        }
    } catch (const std::exception &error) {
        report(errorText(error));
    }
}

void WatchFolderService::reportSkipped(const QUuid &id, const QStringList &paths)
{
    const QString prefix = uuidText(id) + QLatin1Char('/');
    QSet<QString> current;
    for (const QString &path : paths) {
        current.insert(prefix + path);
        if (!m_skipped.contains(prefix + path))
            report(QStringLiteral("A symbolic link was skipped: ") + path);
    }
    // An entry that went away is reported again should it come back.
    m_skipped.removeIf([&](const QString &key) { return key.startsWith(prefix) && !current.contains(key); });
    m_skipped.unite(current);
}

void WatchFolderService::report(const QString &message)
{
    const QString text = QStringLiteral("Watch folder: ") + message;
    Q_EMIT notice(text);
    m_queue.log(text);
}

void WatchFolderService::finishPass()
{
    m_polling = false;
    Q_EMIT pollFinished();
}

QUuid WatchFolderService::addRule(const QString &source, const QString &destination, const TranscodePreset &preset)
{
    const QString folder = QDir::cleanPath(QFileInfo(source).absoluteFilePath());
    const QString output = QDir::cleanPath(QFileInfo(destination).absoluteFilePath());
    if (output == folder || SafeFiles::descendant(output, folder))
        throw VantorError(QStringLiteral("Choose a destination outside the watched folder."));
    PresetService::validate(preset);
    const WatchFolder rule = WatchFolder::make(FileGrant(folder), FileGrant(output), preset);
    QueueService &queue = m_queue;
    queue.repository().addWatch(rule);
    Q_EMIT rulesChanged();
    return rule.id;
}

void WatchFolderService::setEnabled(const QUuid &id, bool enabled)
{
    QueueService &queue = m_queue;
    if (const WatchFolder *rule = findRule(queue.state(), id)) {
        if (rule->enabled == enabled)
            return;
        WatchFolder changed = *rule;
        changed.enabled = enabled;
        queue.repository().updateWatch(changed);
        Q_EMIT rulesChanged();
    }
}

void WatchFolderService::removeRule(const QUuid &id)
{
    QueueService &queue = m_queue;
    if (queue.repository().removeWatch(id))
        Q_EMIT rulesChanged();
}

} // namespace vantor
