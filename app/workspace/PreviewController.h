#pragma once

#include "base/JobControl.h"
#include "state/PersistenceQueue.h"
#include "presets/TranscodePreset.h"

#include <QByteArray>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUuid>
#include <memory>
#include <mutex>
#include <optional>

namespace vantor {

// Drives the processed preview: one frame or a five-second test clip of a source through a
// preset, rendered on a worker thread. A render's result is accepted only while the render is
// still the current one: cancel() and a newer render discard it, and its files are removed.
class PreviewController : public QObject {
    Q_OBJECT
public:
    explicit PreviewController(QObject *parent = nullptr);
    ~PreviewController() override; // cancels, joins the worker and removes every rendered file

    // Starts rendering the frame at `seconds` (clip false) or a test clip from `seconds` (clip
    // true); `engine` is the stored engine path, `sourceDuration` feeds the size estimate.
    void render(const QString &source, const TranscodePreset &preset, double seconds, bool clip,
        const QString &engine, double sourceDuration);
    void cancel();
    // Drops the picture and removes the rendered file.
    void clear();

    const QByteArray &image() const { return m_image; } // PNG data of the rendered frame
    bool busy() const { return m_busy; }
    const std::optional<QString> &error() const { return m_error; }
    const std::optional<QString> &result() const { return m_result; } // the rendered file
    const QString &message() const { return m_message; }
    const QString &detail() const { return m_detail; }

Q_SIGNALS:
    void changed();

private:
    struct Rendered {
        QString file;
        bool clip = false;
        QByteArray image;
        QString detail;
    };
    void accept(const QUuid &generation, const std::optional<Rendered> &rendered, const QString &failure);
    // Rendered folders not yet accepted; what is left when the worker stops is removed.
    void track(const QString &file, bool add);

    QByteArray m_image;
    bool m_busy = false;
    std::optional<QString> m_error;
    std::optional<QString> m_result;
    QString m_message;
    QString m_detail;
    std::shared_ptr<JobControl> m_control;
    QUuid m_generation = QUuid::createUuid();
    std::mutex m_mutex;
    QSet<QString> m_unclaimed;
    PersistenceQueue m_worker; // last: joined before the fields above go away
};

} // namespace vantor
