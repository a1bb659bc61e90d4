#include "pages/TranscodePage.h"

#include "Theme.h"
#include "models/PresetListModel.h"
#include "models/TranscodeSourceModel.h"
#include "pages/BatchSourcesSheet.h"
#include "pages/ProcessedPreviewSheet.h"
#include "pages/SavePresetSheet.h"
#include "pages/SourceInspectorPanel.h"
#include "queue/QueueService.h"
#include "widgets/AudioTab.h"
#include "widgets/BurnInsTab.h"
#include "widgets/DimensionsTab.h"
#include "widgets/FiltersTab.h"
#include "widgets/PanelSurface.h"
#include "widgets/QuietButton.h"
#include "widgets/SectionLabel.h"
#include "widgets/SummaryTab.h"
#include "widgets/TrackTabs.h"
#include "widgets/VideoTab.h"
#include "widgets/WorkspaceHeader.h"
#include "workspace/SourceInspector.h"
#include "workspace/Workspace.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QSplitter>
#include <QTabWidget>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

QuietButton *button(const QString &name, const QString &label, QWidget *parent, bool prominent = false)
{
    auto *made = new QuietButton(label, parent, prominent);
    made->setObjectName(name);
    return made;
}

} // namespace

TranscodePage::TranscodePage(Workspace &workspace, QWidget *parent)
    : QWidget(parent), m_workspace(workspace), m_editing{workspace, nullptr, std::nullopt, false, false},
      m_inspector(std::make_unique<SourceInspector>(workspace)),
      m_sources(new TranscodeSourceModel(workspace, false, this)), m_presets(new PresetListModel(workspace, this))
{
    setObjectName(QStringLiteral("transcodePage"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(3));
    layout->addWidget(new WorkspaceHeader(QStringLiteral("02 / Proxies"), QStringLiteral("Transcode"),
                                          QStringLiteral("Video sources turned into proxies and deliverables with a "
                                                         "preset, previewed before they are queued."),
                                          this));
    layout->addWidget(buildToolbar());
    auto *split = new QSplitter(Qt::Horizontal, this);
    split->setChildrenCollapsible(false);
    split->addWidget(buildSources());
    split->addWidget(buildSettings());
    split->setStretchFactor(1, 1);
    layout->addWidget(split, 1);

    connect(&workspace, &Workspace::planChanged, this, [this] {
        showPreset();
        presentAll();
    });
    connect(&workspace, &Workspace::sourcesChanged, this, &TranscodePage::showSources);
    connect(m_inspector.get(), &SourceInspector::changed, this, [this] {
        m_editing.info = m_inspector->info();
        m_editing.selected = m_inspector->selected().has_value();
        m_editing.inspecting = m_inspector->inspecting();
        presentAll();
    });
    inspectorArea()->addWidget(new SourceInspectorPanel(workspace, *m_inspector, this));
    setPreviewHandler([this] {
        auto *sheet = new ProcessedPreviewSheet(m_workspace, *m_inspector, window());
        connect(sheet, &QDialog::finished, sheet, &QObject::deleteLater);
        sheet->open();
    });
    showPreset();
    showSources();
    presentAll();
}

TranscodePage::~TranscodePage() = default;

QWidget *TranscodePage::buildToolbar()
{
    auto *bar = new QWidget(this);
    auto *row = new QHBoxLayout(bar);
    row->setContentsMargins(0, 0, 0, 0);
    QuietButton *open = button(QStringLiteral("openSources"), QStringLiteral("Open Sources"), bar);
    QuietButton *add = button(QStringLiteral("addToQueue"), QStringLiteral("Add To Queue"), bar);
    QuietButton *start = button(QStringLiteral("startTranscodes"), QStringLiteral("Start"), bar, true);
    m_pause = button(QStringLiteral("pauseQueue"), QStringLiteral("Pause"), bar);
    QuietButton *queue = button(QStringLiteral("showQueue"), QStringLiteral("Queue"), bar);
    row->addWidget(open);
    row->addStretch(1);
    for (QuietButton *action : {add, start, m_pause, queue})
        row->addWidget(action);

    connect(open, &QPushButton::clicked, this, [this] { m_workspace.addTranscodeSources(); });
    connect(add, &QPushButton::clicked, this, [this] { queueTranscodes(false); });
    connect(start, &QPushButton::clicked, this, [this] { queueTranscodes(true); });
    QueueService &jobs = m_workspace.queue();
    connect(m_pause, &QPushButton::clicked, this, [&jobs] { jobs.paused() ? jobs.resume() : jobs.pause(); });
    const auto label = [this, &jobs] {
        m_pause->setLabel(jobs.paused() ? QStringLiteral("Resume") : QStringLiteral("Pause"));
    };
    connect(&jobs, &QueueService::pausedChanged, m_pause, label);
    label();
    connect(queue, &QPushButton::clicked, this, [this] { m_workspace.setPage(Page::queue); });
    return bar;
}

QWidget *TranscodePage::buildSources()
{
    auto *panel = new PanelSurface(this);
    auto *layout = new QVBoxLayout(panel);
    auto *heading = new QHBoxLayout;
    heading->addWidget(new SectionLabel(QStringLiteral("Source"), panel));
    heading->addStretch(1);
    m_count = new QLabel(panel);
    m_count->setObjectName(QStringLiteral("transcodeSourceCount"));
    heading->addWidget(m_count);
    layout->addLayout(heading);
    m_list = new QListView(panel);
    m_list->setObjectName(QStringLiteral("transcodeSources"));
    m_list->setAccessibleName(QStringLiteral("Source"));
    m_list->setModel(m_sources);
    m_list->setUniformItemSizes(true);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    layout->addWidget(m_list, 1);
    QuietButton *batch = button(QStringLiteral("batchSources"), QStringLiteral("Batch Sources\u2026"), panel);
    auto *actions = new QHBoxLayout;
    actions->addWidget(batch);
    actions->addStretch(1);
    layout->addLayout(actions);
    panel->setMinimumWidth(Theme::lineHeight() * 14);

    connect(m_list->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex &index) {
        select(index.data(TranscodeSourceModel::UrlRole).toString());
    });
    connect(batch, &QPushButton::clicked, this, [this] {
        auto *sheet = new BatchSourcesSheet(m_workspace, window());
        connect(sheet, &QDialog::finished, sheet, &QObject::deleteLater);
        sheet->open();
    });
    return panel;
}

QWidget *TranscodePage::buildSettings()
{
    auto *scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setFocusPolicy(Qt::NoFocus); // the controls inside take focus, not the frame
    auto *content = new QWidget(scroll);
    auto *layout = new QVBoxLayout(content);

    auto *presetRow = new QHBoxLayout;
    auto *presetLabel = new QLabel(QStringLiteral("Preset"), content);
    m_preset = new QComboBox(content);
    m_preset->setObjectName(QStringLiteral("presetPicker"));
    m_preset->setAccessibleName(presetLabel->text());
    m_preset->setModel(m_presets);
    presetLabel->setBuddy(m_preset);
    QuietButton *reload = button(QStringLiteral("reloadPreset"), QStringLiteral("Reload"), content);
    QuietButton *save = button(QStringLiteral("saveNewPreset"), QStringLiteral("Save New Preset\u2026"), content);
    presetRow->addWidget(presetLabel);
    presetRow->addWidget(m_preset, 1);
    presetRow->addWidget(reload);
    presetRow->addWidget(save);
    layout->addLayout(presetRow);

    layout->addWidget(new SectionLabel(QStringLiteral("Settings"), content));
    m_tabs = new QTabWidget(content);
    m_tabs->setObjectName(QStringLiteral("settingsTabs"));
    m_tabs->setAccessibleName(QStringLiteral("Settings"));
    m_summary = new SummaryTab(m_editing, m_tabs);
    auto *burnIns = new BurnInsTab(m_editing, m_tabs);
    const std::pair<QString, PresetTab *> tabs[] = {
        {QStringLiteral("Summary"), m_summary},
        {QStringLiteral("Dimensions"), new DimensionsTab(m_editing, m_tabs)},
        {QStringLiteral("Filters"), new FiltersTab(m_editing, m_tabs)},
        {QStringLiteral("Video"), new VideoTab(m_editing, m_tabs)},
        {QStringLiteral("Audio"), new AudioTab(m_editing, m_tabs)},
        {QStringLiteral("Subtitles"), new SubtitlesTab(m_editing, m_tabs)},
        {QStringLiteral("Chapters"), new ChaptersTab(m_editing, m_tabs)},
        {QStringLiteral("Burn-Ins"), burnIns},
    };
    for (const auto &[title, tab] : tabs) {
        tab->setObjectName(title.toLower().remove(u'-') + QStringLiteral("Tab"));
        m_tabs->addTab(tab, title);
        m_parts.push_back(tab);
    }
    layout->addWidget(m_tabs);
    auto *metadata = new MetadataSection(m_editing, content);
    auto *output = new OutputRow(m_editing, content);
    layout->addWidget(metadata);
    layout->addWidget(output);
    m_parts.push_back(metadata);
    m_parts.push_back(output);
    layout->addStretch(1);
    scroll->setWidget(content);

    m_previewBurnIns = burnIns->findChild<QuietButton *>(QStringLiteral("previewBurnIns"));
    m_previewBurnIns->hide();
    connect(burnIns, &BurnInsTab::previewRequested, this, [this] {
        if (m_preview)
            m_preview();
    });
    connect(m_preset, &QComboBox::activated, this, [this](int row) {
        if (const std::optional<TranscodePreset> chosen = m_presets->at(row)) {
            m_editing.lastEdited = nullptr;
            m_workspace.setPreset(*chosen);
        }
    });
    connect(reload, &QPushButton::clicked, this, [this] {
        // Back to the stored version of the current preset, dropping unsaved edits.
        const int row = m_presets->rowOf(m_workspace.preset().id);
        if (const std::optional<TranscodePreset> stored = m_presets->at(row)) {
            m_editing.lastEdited = nullptr;
            m_workspace.setPreset(*stored);
            presentAll();
        }
    });
    connect(save, &QPushButton::clicked, this, [this] {
        auto *sheet = new SavePresetSheet(m_workspace, window());
        connect(sheet, &QDialog::finished, sheet, &QObject::deleteLater);
        sheet->open();
    });
    return scroll;
}

QVBoxLayout *TranscodePage::inspectorArea() const { return m_summary->inspectorArea(); }

QString TranscodePage::selected() const { return m_inspector->selected().value_or(QString()); }

void TranscodePage::setPreviewHandler(std::function<void()> handler)
{
    m_preview = std::move(handler);
    m_previewBurnIns->setVisible(bool(m_preview));
}

void TranscodePage::queueTranscodes(bool start)
{
    // The engine would refuse such a crop only when the job runs; the source is known now.
    const TranscodePreset shown = m_workspace.sourcePresets().value(selected(), m_workspace.preset());
    if (m_editing.info && cropExceedsSource(shown, *m_editing.info)) {
        m_workspace.setError(QStringLiteral("Crop Exceeds Source Dimensions"));
        return;
    }
    m_workspace.enqueueTranscodes(start);
}

void TranscodePage::select(const QString &path)
{
    if (path == selected())
        return;
    // Reports the change, which clears what was shown.
    m_inspector->select(path.isEmpty() ? std::nullopt : std::optional<QString>(path));
    Q_EMIT selectedChanged(path);
}

void TranscodePage::presentAll()
{
    for (PresetTab *part : m_parts)
        part->present();
}

void TranscodePage::showSources()
{
    const qsizetype count = qsizetype(m_workspace.sources().size());
    m_count->setText(count ? QStringLiteral("%1 Files").arg(count) : QStringLiteral("No Source Selected"));
    // The first source is shown until the user picks another; a removed one gives way.
    const QModelIndex current = m_list->currentIndex();
    if (!current.isValid() && count > 0)
        m_list->setCurrentIndex(m_sources->index(0));
    else
        select(current.data(TranscodeSourceModel::UrlRole).toString());
    presentAll();
}

void TranscodePage::showPreset()
{
    const QSignalBlocker blocker(m_preset);
    m_preset->setCurrentIndex(m_presets->rowOf(m_workspace.preset().id));
}

} // namespace vantor::ui
