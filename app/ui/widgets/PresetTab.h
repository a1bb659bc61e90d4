#pragma once

#include "transcode/MediaInfo.h"
#include "presets/TranscodePreset.h"

#include <QVariant>
#include <QWidget>
#include <functional>
#include <optional>
#include <vector>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;
class QVBoxLayout;

namespace vantor {
class Workspace;
}

namespace vantor::ui {

// What the preset editor's parts share: the workspace whose current preset they edit, the
// control edited last (where a refusal is shown) and the selected source's probe, when known.
struct PresetEditing {
    Workspace &workspace;
    QWidget *lastEdited = nullptr;
    std::optional<MediaInfo> info;
    bool selected = false;   // a source is shown
    bool inspecting = false; // its probe is running

    // What stands in for a value of the source while its probe is not there.
    QString missing() const
    {
        return !selected ? QStringLiteral("No Source Selected")
                         : inspecting ? QStringLiteral("Inspecting\u2026") : QStringLiteral("Not Available");
    }
};

// One part of the preset editor. Each control is bound to one field of the workspace's current
// preset: an edit copies the preset, changes that field and hands it back to the workspace; the
// preset service's refusal of the result is shown beside the control that caused it.
class PresetTab : public QWidget {
    Q_OBJECT
public:
    PresetTab(PresetEditing &editing, QWidget *parent = nullptr);

    // Shows the workspace's current preset and the selected source's probe.
    void present();

protected:
    using Show = std::function<void(const TranscodePreset &, const MediaInfo *)>;
    using Choices = QList<std::pair<QString, QVariant>>;

    // Sets one field of the preset's encoding or finishing group.
    template <typename T, typename V> static void tune(TranscodePreset &p, T EncodingOptions::*field, const V &value)
    {
        EncodingOptions options = p.tuning();
        options.*field = value;
        p.setTuning(options);
    }
    template <typename T, typename V> static void finish(TranscodePreset &p, T FinishingOptions::*field, const V &value)
    {
        FinishingOptions options = p.finish();
        options.*field = value;
        p.setFinish(options);
    }
    // A check box bound to a flag of the encoding or finishing group.
    QCheckBox *tuningCheck(QVBoxLayout *into, const QString &name, const QString &label, bool EncodingOptions::*field);
    QCheckBox *finishCheck(QVBoxLayout *into, const QString &name, const QString &label, bool FinishingOptions::*field);

    QVBoxLayout *section(const QString &title, QVBoxLayout *into);
    QCheckBox *check(QVBoxLayout *into, const QString &name, const QString &label,
                     std::function<bool(const TranscodePreset &)> get, std::function<void(TranscodePreset &, bool)> set);
    QSpinBox *number(QVBoxLayout *into, const QString &name, const QString &label, int minimum, int maximum,
                     std::function<qint64(const TranscodePreset &)> get,
                     std::function<void(TranscodePreset &, qint64)> set);
    QComboBox *choice(QVBoxLayout *into, const QString &name, const QString &label, const Choices &choices,
                      std::function<QVariant(const TranscodePreset &)> get,
                      std::function<void(TranscodePreset &, const QVariant &)> set);
    QLineEdit *text(QVBoxLayout *into, const QString &name, const QString &label,
                    std::function<QString(const TranscodePreset &)> get,
                    std::function<void(TranscodePreset &, const QString &)> set);
    // A caption under controls; `warning` ones read in the error colour.
    QLabel *help(QVBoxLayout *into, const QString &text, const QString &name = {}, bool warning = false);
    // A read-only "label: value" row; returns the value.
    QLabel *reading(QVBoxLayout *into, const QString &name, const QString &label);
    // Runs on every present(), after the bound controls were refreshed.
    void onPresent(Show show) { m_shows.push_back(std::move(show)); }
    void edit(QWidget *control, const std::function<void(TranscodePreset &)> &change);
    PresetEditing &editing() { return m_editing; }

    void changeEvent(QEvent *event) override;

private:
    void place(QVBoxLayout *into, QWidget *control, const QString &label, bool inline_);
    void paintTexts();

    PresetEditing &m_editing;
    std::vector<Show> m_shows;
    std::vector<std::pair<QWidget *, QLabel *>> m_refusals; // control, the label beside it
    std::vector<std::pair<QLabel *, bool>> m_helps; // the label, whether it warns
};

} // namespace vantor::ui
