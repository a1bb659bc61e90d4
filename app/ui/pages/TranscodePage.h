#pragma once

#include "widgets/PresetTab.h"

#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

class QComboBox;
class QLabel;
class QListView;
class QTabWidget;
class QVBoxLayout;

namespace vantor {
class SourceInspector;
class Workspace;
}

namespace vantor::ui {

class PresetListModel;
class QuietButton;
class SummaryTab;
class TranscodeSourceModel;

// The Transcode page: open video sources, edit the workspace's current preset control by
// control, and queue transcodes. The page keeps only what it shows: the selected source and
// its probe.
class TranscodePage : public QWidget {
    Q_OBJECT
public:
    explicit TranscodePage(Workspace &workspace, QWidget *parent = nullptr);
    ~TranscodePage() override;

    // Where the source inspector (Summary rows and player) goes, on the Summary tab.
    QVBoxLayout *inspectorArea() const;
    // The selected source's path, empty when none.
    QString selected() const;
    SourceInspector &inspector() const { return *m_inspector; }
    // Opens the processed preview; "Preview Burn-Ins…" shows only once one is given.
    void setPreviewHandler(std::function<void()> handler);

Q_SIGNALS:
    void selectedChanged(const QString &path);

private:
    QWidget *buildToolbar();
    QWidget *buildSources();
    QWidget *buildSettings();
    void queueTranscodes(bool start);
    void select(const QString &path);
    void presentAll();
    void showSources();
    void showPreset();

    Workspace &m_workspace;
    PresetEditing m_editing;
    std::unique_ptr<SourceInspector> m_inspector;
    TranscodeSourceModel *m_sources;
    PresetListModel *m_presets;
    QListView *m_list = nullptr;
    QLabel *m_count = nullptr;
    QComboBox *m_preset = nullptr;
    QuietButton *m_pause = nullptr;
    QTabWidget *m_tabs = nullptr;
    SummaryTab *m_summary = nullptr;
    QuietButton *m_previewBurnIns = nullptr;
    std::vector<PresetTab *> m_parts;
    std::function<void()> m_preview;
};

} // namespace vantor::ui
