#include "workspace/PreviewController.h"

#include "AppInfo.h"
#include "base/VantorError.h"
#include "transcode/PreviewService.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>

namespace vantor {

namespace {

QString folderOf(const QString &file)
{
    return QFileInfo(file).path();
}

QString size(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

} // namespace

PreviewController::PreviewController(QObject *parent)
    : QObject(parent)
    , m_worker(QString::fromLatin1(AppInfo::identifier) + QStringLiteral(".preview"))
{
}

PreviewController::~PreviewController()
{
    if (m_control)
        m_control->cancel();
    m_worker.flush();
    if (m_result)
        PreviewService::remove(folderOf(*m_result));
    for (const QString &file : std::as_const(m_unclaimed))
        PreviewService::remove(folderOf(file));
}

void PreviewController::track(const QString &file, bool add)
{
    const std::lock_guard lock(m_mutex);
    if (add)
        m_unclaimed.insert(file);
    else
        m_unclaimed.remove(file);
}

void PreviewController::render(const QString &source, const TranscodePreset &preset, double seconds,
    bool clip, const QString &engine, double sourceDuration)
{
    cancel();
    m_control = std::make_shared<JobControl>();
    m_busy = true;
    m_error.reset();
    m_message.clear();
    Q_EMIT changed();
    m_worker.post([this, source, preset, seconds, clip, engine, sourceDuration, control = m_control,
                      generation = m_generation] {
        std::optional<Rendered> rendered;
        QString failure;
        try {
            control->checkpoint();
            const QString file = PreviewService::render(source, preset, seconds, clip, engine, *control);
            track(file, true);
            rendered = Rendered { file, clip, {}, {} };
            const double start = PreviewService::startTime(seconds, sourceDuration);
            if (clip) {
                const qint64 bytes = QFileInfo(file).size();
                const double length = PreviewService::clipLength(start, sourceDuration);
                rendered->detail
                    = QStringLiteral("%1 for %2s").arg(size(bytes), QString::asprintf("%.1f", length));
                if (sourceDuration > 0 && length > 0)
                    rendered->detail += QStringLiteral(" · Full Clip ≈ ")
                        + size(qint64(double(bytes) / length * sourceDuration))
                        + QStringLiteral(" (Sample Estimate)");
            } else {
                QFile picture(file);
                if (picture.open(QIODevice::ReadOnly))
                    rendered->image = picture.readAll();
                rendered->detail = QStringLiteral("Frame at %1s").arg(QString::asprintf("%.1f", start));
            }
        } catch (const CancellationError &) {
            // dropped: a cancel always comes with a new generation
        } catch (const VantorError &error) {
            failure = error.message();
        } catch (const std::exception &) {
            failure = QStringLiteral("Preview could not be generated.");
        }
        QMetaObject::invokeMethod(
            this, [this, generation, rendered, failure] { accept(generation, rendered, failure); },
            Qt::QueuedConnection);
    });
}

void PreviewController::accept(
    const QUuid &generation, const std::optional<Rendered> &rendered, const QString &failure)
{
    if (generation != m_generation) {
        if (rendered) {
            PreviewService::remove(folderOf(rendered->file));
            track(rendered->file, false);
        }
        return;
    }
    m_busy = false;
    m_control.reset();
    if (!rendered) {
        m_error = failure;
        Q_EMIT changed();
        return;
    }
    clear();
    track(rendered->file, false);
    m_result = rendered->file;
    m_image = rendered->image;
    m_detail = rendered->detail;
    if (rendered->clip)
        m_message = QStringLiteral(
            "Test clip encoded successfully. Use Show In File Manager to inspect this format "
            "in your editor.");
    Q_EMIT changed();
}

void PreviewController::cancel()
{
    m_generation = QUuid::createUuid();
    if (m_control) {
        m_control->cancel();
        m_control.reset();
    }
    if (m_busy) {
        m_busy = false;
        Q_EMIT changed();
    }
}

void PreviewController::clear()
{
    m_image.clear();
    if (m_result)
        PreviewService::remove(folderOf(*m_result));
    m_result.reset();
    m_message.clear();
    m_detail.clear();
    Q_EMIT changed();
}

} // namespace vantor
