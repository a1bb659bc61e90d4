#include "workspace/SourceInspector.h"

#include "AppInfo.h"
#include "base/VantorError.h"
#include "queue/QueueService.h"
#include "transcode/PreviewService.h"
#include "transcode/TranscodeService.h"
#include "workspace/Workspace.h"

#include <QFile>
#include <QFileInfo>

namespace vantor {

namespace {

QString failureText(const std::exception &failure)
{
    if (const auto *error = dynamic_cast<const VantorError *>(&failure))
        return error->message();
    return QStringLiteral("The source could not be inspected.");
}

} // namespace

SourceInspector::SourceInspector(Workspace &workspace, QObject *parent)
    : QObject(parent)
    , m_workspace(workspace)
    , m_worker(QString::fromLatin1(AppInfo::identifier) + QStringLiteral(".inspector"))
{
    connect(&workspace, &Workspace::sourcesChanged, this, [this] { followSources(); });
    connect(&workspace, &Workspace::planChanged, this, &SourceInspector::changed);
    followSources();
}

SourceInspector::~SourceInspector()
{
    for (const auto &control : { m_control, m_stillControl }) {
        if (control)
            control->cancel();
    }
}

// A removed source stops being shown; with nothing selected the first source is.
void SourceInspector::followSources()
{
    const auto &sources = m_workspace.sources();
    const bool kept = m_selected
        && std::any_of(sources.begin(), sources.end(),
            [&](const SourceFile &source) { return source.url == *m_selected; });
    if (kept)
        Q_EMIT changed(); // a per-source preset may have changed
    else
        select(sources.empty() ? std::nullopt : std::optional(sources.front().url));
}

TranscodePreset SourceInspector::preset() const
{
    if (m_selected) {
        const auto own = m_workspace.sourcePresets().constFind(*m_selected);
        if (own != m_workspace.sourcePresets().constEnd())
            return *own;
    }
    return m_workspace.preset();
}

void SourceInspector::restart()
{
    for (const auto &control : { m_control, m_stillControl }) {
        if (control)
            control->cancel();
    }
    m_control = std::make_shared<JobControl>();
    m_stillControl.reset();
    ++m_generation;
}

void SourceInspector::select(const std::optional<QString> &source)
{
    restart();
    m_selected = source;
    m_info.reset();
    m_sourceError.reset();
    m_still.clear();
    m_inspecting = source.has_value();
    Q_EMIT changed();
    if (!source)
        return;
    const QString custom = m_workspace.queue().state().ffmpeg;
    m_worker.post([this, path = *source, custom, control = m_control, generation = m_generation] {
        std::optional<MediaInfo> info;
        QString failure;
        try {
            control->checkpoint();
            info = TranscodeService::probe(path, custom, *control);
        } catch (const CancellationError &) {
            return;
        } catch (const std::exception &error) {
            failure = failureText(error);
        }
        QMetaObject::invokeMethod(
            this,
            [this, info, failure, generation] {
                if (generation != m_generation)
                    return;
                m_inspecting = false;
                m_info = info;
                if (!info)
                    m_sourceError = failure;
                Q_EMIT changed();
            },
            Qt::QueuedConnection);
    });
}

void SourceInspector::renderStill(double seconds)
{
    if (!m_selected)
        return;
    if (m_stillControl)
        m_stillControl->cancel();
    m_stillControl = std::make_shared<JobControl>();
    const quint64 still = ++m_stillGeneration;
    const QString custom = m_workspace.queue().state().ffmpeg;
    // The source as recorded: no scaling, crop, filters or burn-ins.
    TranscodePreset plain;
    plain.container = QStringLiteral("mov");
    m_worker.post([this, path = *m_selected, custom, plain, seconds, control = m_stillControl,
                      generation = m_generation, still] {
        QByteArray picture;
        try {
            control->checkpoint();
            const QString frame = PreviewService::render(path, plain, seconds, false, custom, *control);
            QFile file(frame);
            if (file.open(QIODevice::ReadOnly))
                picture = file.readAll();
            PreviewService::remove(QFileInfo(frame).path());
        } catch (const std::exception &) {
            return; // the summary already says what the probe found; the still stays empty
        }
        QMetaObject::invokeMethod(
            this,
            [this, picture, generation, still] {
                if (generation != m_generation || still != m_stillGeneration)
                    return;
                m_still = picture;
                Q_EMIT changed();
            },
            Qt::QueuedConnection);
    });
}

} // namespace vantor
