#include "pages/ImportPlanPanel.h"

#include "pages/BackupDestinationsGroup.h"
#include "widgets/Binding.h"
#include "Theme.h"
#include "base/VantorError.h"
#include "queue/QueueService.h"
#include "widgets/InputRow.h"
#include "widgets/LineField.h"
#include "widgets/SectionLabel.h"
#include "planning/JobPlanner.h"
#include "workspace/Workspace.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QFileInfo>
#include <QLabel>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

const ChecksumAlgorithm::Value offeredChecksums[] = { ChecksumAlgorithm::xxHash, ChecksumAlgorithm::sha256 };

QCheckBox *toggle(const QString &label, const char *objectName, QWidget *parent)
{
    auto *box = named(new QCheckBox(label, parent), objectName);
    box->setAccessibleName(label);
    return box;
}

QVBoxLayout *tabLayout(QWidget *tab)
{
    auto *layout = new QVBoxLayout(tab);
    layout->setSpacing(Theme::space(2));
    layout->setContentsMargins(Theme::space(2), Theme::space(3), Theme::space(2), Theme::space(2));
    return layout;
}

} // namespace

ImportPlanPanel::ImportPlanPanel(Workspace &workspace, QWidget *parent)
    : PanelSurface(parent)
    , m_workspace(workspace)
    , m_operation(named(new QComboBox(this), "planOperation"))
    , m_tabs(named(new QTabWidget(this), "planTabs"))
{
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(2));
    layout->addWidget(new SectionLabel(QStringLiteral("Plan"), this));
    for (const JobOperation::Value operation : JobOperation::allCases)
        m_operation->addItem(JobOperation(operation).rawValue());
    layout->addWidget(new InputRow(QStringLiteral("Operation"), m_operation, this));
    m_tabs->addTab(buildCopyTab(), QStringLiteral("Copy"));
    m_tabs->addTab(buildProxyTab(), QStringLiteral("Proxy"));
    m_tabs->addTab(buildNamingTab(), QStringLiteral("Naming"));
    m_tabs->setAccessibleName(QStringLiteral("Plan"));
    m_tabs->setDocumentMode(true);
    layout->addWidget(m_tabs, 1);

    QWidget::setTabOrder(m_operation, m_tabs); // its focus goes to the tab bar
    QWidget::setTabOrder(m_tabs, m_copyFolder);
    QWidget::setTabOrder(m_copyFolder, m_hierarchy);
    QWidget::setTabOrder(m_hierarchy, m_verify);
    QWidget::setTabOrder(m_verify, m_checksum);
    QWidget *previous = m_checksum;
    for (QWidget *control : m_backups->controls()) {
        QWidget::setTabOrder(previous, control);
        previous = control;
    }
    QWidget::setTabOrder(previous, m_preset);
    QWidget::setTabOrder(m_preset, m_outputFolder);
    QWidget::setTabOrder(m_outputFolder, m_rename);
    QWidget::setTabOrder(m_rename, m_pattern);
    previous = m_pattern;
    for (LineField *token : m_tokens) {
        QWidget::setTabOrder(previous, token);
        previous = token;
    }

    connect(m_operation, &QComboBox::activated, this, [this](int row) {
        if (row >= 0 && row < int(JobOperation::allCases.size()))
            m_workspace.setOperation(JobOperation::allCases[std::size_t(row)]);
    });
    connect(&workspace, &Workspace::planChanged, this, &ImportPlanPanel::refresh);
    connect(&workspace, &Workspace::sourcesChanged, this, &ImportPlanPanel::refreshPreview);
    connect(&workspace, &Workspace::projectFieldsChanged, this, &ImportPlanPanel::refreshPreview);
    refresh();
}

QWidget *ImportPlanPanel::firstControl() const
{
    return m_operation;
}
QWidget *ImportPlanPanel::lastControl() const
{
    return m_tokens.back();
}

QWidget *ImportPlanPanel::buildCopyTab()
{
    auto *tab = new QWidget(this);
    QVBoxLayout *layout = tabLayout(tab);
    m_copyFolder = named(new LineField(QStringLiteral("02_FOOTAGE/ORIGINALS"), tab), "copyFolder");
    layout->addWidget(new InputRow(QStringLiteral("Media folder"), m_copyFolder, tab));
    m_hierarchy = toggle(QStringLiteral("Preserve source hierarchy"), "planHierarchy", tab);
    m_verify = toggle(QStringLiteral("Verify copies"), "planVerify", tab);
    layout->addWidget(m_hierarchy, 0, Qt::AlignLeft);
    layout->addWidget(m_verify, 0, Qt::AlignLeft);
    m_checksum = named(new QComboBox(tab), "planChecksum");
    for (const ChecksumAlgorithm::Value algorithm : offeredChecksums)
        m_checksum->addItem(ChecksumAlgorithm(algorithm).rawValue());
    layout->addWidget(new InputRow(QStringLiteral("Checksum"), m_checksum, tab));
    m_backups = new BackupDestinationsGroup(m_workspace, tab);
    layout->addWidget(m_backups);
    layout->addStretch(1);

    connect(m_copyFolder, &QLineEdit::textEdited, &m_workspace, &Workspace::setCopyFolder);
    connect(m_hierarchy, &QCheckBox::toggled, &m_workspace, &Workspace::setHierarchy);
    connect(m_verify, &QCheckBox::toggled, &m_workspace, &Workspace::setVerify);
    connect(m_checksum, &QComboBox::activated, this, [this](int row) {
        if (row >= 0 && row < int(std::size(offeredChecksums)))
            m_workspace.setAlgorithm(offeredChecksums[row]);
    });
    return tab;
}

QWidget *ImportPlanPanel::buildProxyTab()
{
    auto *tab = new QWidget(this);
    QVBoxLayout *layout = tabLayout(tab);
    m_hint
        = named(new QLabel(QStringLiteral("Choose Copy + Transcode or Transcode to prepare proxies."), tab),
            "proxyHint");
    m_hint->setWordWrap(true);
    m_hint->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(m_hint);
    m_proxyControls = new QWidget(tab);
    auto *controls = new QVBoxLayout(m_proxyControls);
    controls->setContentsMargins(0, 0, 0, 0);
    controls->setSpacing(Theme::space(2));
    m_preset = named(new QComboBox(m_proxyControls), "planPreset");
    controls->addWidget(new InputRow(QStringLiteral("Preset"), m_preset, m_proxyControls));
    m_outputFolder
        = named(new LineField(QStringLiteral("02_FOOTAGE/PROXIES"), m_proxyControls), "outputFolder");
    controls->addWidget(new InputRow(QStringLiteral("Transcode folder"), m_outputFolder, m_proxyControls));
    layout->addWidget(m_proxyControls);
    layout->addStretch(1);

    connect(m_preset, &QComboBox::activated, this, [this](int row) {
        const QUuid id = m_preset->itemData(row).toUuid();
        for (const TranscodePreset &stored : m_workspace.queue().state().presets) {
            if (stored.id == id) {
                m_workspace.setPreset(stored);
                return;
            }
        }
    });
    connect(m_outputFolder, &QLineEdit::textEdited, &m_workspace, &Workspace::setOutputFolder);
    return tab;
}

QWidget *ImportPlanPanel::buildNamingTab()
{
    auto *tab = new QWidget(this);
    QVBoxLayout *layout = tabLayout(tab);
    m_rename = toggle(QStringLiteral("Rename output copies"), "renameOutputs", tab);
    layout->addWidget(m_rename, 0, Qt::AlignLeft);
    m_pattern
        = named(new LineField(QStringLiteral("{PROJECT}  {ORIGINAL}  {COUNTER}"), tab), "namingPattern");
    m_pattern->setFont(Theme::monospaceFont());
    layout->addWidget(new InputRow(QStringLiteral("Pattern"), m_pattern, tab));
    using Setter = void (Workspace::*)(const QString &);
    const struct {
        const char *label, *objectName;
        Setter set;
    } tokens[] = { { "Camera", "namingCamera", &Workspace::setCamera },
        { "Roll", "namingRoll", &Workspace::setRoll }, { "Scene", "namingScene", &Workspace::setScene },
        { "Shot", "namingShot", &Workspace::setShot }, { "Take", "namingTake", &Workspace::setTake } };
    for (const auto &token : tokens) {
        auto *field = named(new LineField(QString(), tab), token.objectName);
        layout->addWidget(new InputRow(QLatin1String(token.label), field, tab));
        connect(field, &QLineEdit::textEdited, &m_workspace, token.set);
        m_tokens << field;
    }
    m_preview = named(new QLabel(tab), "namingPreview");
    m_preview->setWordWrap(true);
    m_preview->setFont(Theme::captionFont());
    m_preview->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_preview);
    layout->addStretch(1);

    connect(m_rename, &QCheckBox::toggled, &m_workspace, &Workspace::setRename);
    connect(m_pattern, &QLineEdit::textEdited, &m_workspace, &Workspace::setPattern);
    return tab;
}

void ImportPlanPanel::refresh()
{
    const JobOperation operation = m_workspace.operation();
    {
        const QSignalBlocker blocker(m_operation);
        m_operation->setCurrentIndex(int(operation.value));
    }
    setTextQuietly(m_copyFolder, m_workspace.copyFolder());
    setCheckedQuietly(m_hierarchy, m_workspace.hierarchy());
    setCheckedQuietly(m_verify, m_workspace.verify());
    {
        int row = -1; // MD5, from a settings file written elsewhere, is not offered
        for (int index = 0; index < int(std::size(offeredChecksums)); ++index) {
            if (m_workspace.algorithm() == offeredChecksums[index])
                row = index;
        }
        const QSignalBlocker blocker(m_checksum);
        m_checksum->setCurrentIndex(row);
    }
    // Copies go unused when transcoding in place; checksums when nothing is verified.
    m_copyFolder->setEnabled(operation.copies());
    m_verify->setEnabled(operation.copies());
    m_checksum->setEnabled(operation.copies() && m_workspace.verify());

    m_hint->setVisible(!operation.transcodes());
    m_proxyControls->setVisible(operation.transcodes());
    refreshPresets();
    setTextQuietly(m_outputFolder, m_workspace.outputFolder());

    setCheckedQuietly(m_rename, m_workspace.rename());
    setTextQuietly(m_pattern, m_workspace.pattern());
    const QString values[] = { m_workspace.camera(), m_workspace.roll(), m_workspace.scene(),
        m_workspace.shot(), m_workspace.take() };
    for (int index = 0; index < m_tokens.size(); ++index)
        setTextQuietly(m_tokens[index], values[index]);
    refreshPreview();
}

void ImportPlanPanel::refreshPresets()
{
    // The stored presets; the current one too when it was changed without being stored.
    const QSignalBlocker blocker(m_preset);
    m_preset->clear();
    const TranscodePreset &current = m_workspace.preset();
    int selected = -1;
    for (const TranscodePreset &stored : m_workspace.queue().state().presets) {
        if (stored == current)
            selected = m_preset->count();
        m_preset->addItem(stored.name, stored.id);
    }
    if (selected < 0) {
        m_preset->insertItem(0, current.name + QStringLiteral(" (edited)"), QUuid());
        selected = 0;
    }
    m_preset->setCurrentIndex(selected);
}

void ImportPlanPanel::changeEvent(QEvent *event)
{
    PanelSurface::changeEvent(event);
    if (event->type() == QEvent::ApplicationPaletteChange) // the preview's colours come from the palette
        refreshPreview();
}

void ImportPlanPanel::refreshPreview()
{
    const std::vector<SourceFile> &sources = m_workspace.sources();
    QPalette palette = m_preview->palette();
    palette.setColor(QPalette::WindowText, Theme::mutedText());
    if (sources.empty()) {
        m_preview->setText(QStringLiteral("Add sources to preview their names."));
    } else {
        try {
            JobPlanner::stem(m_workspace.plan(), sources.front(), 0); // throws the naming refusal
            m_preview->setText(QFileInfo(sources.front().url).fileName() + QStringLiteral(" \u2192 ")
                + m_workspace.outputName(sources.front(), 0).value_or(QString()));
        } catch (const VantorError &error) {
            m_preview->setText(error.message());
            palette.setColor(QPalette::WindowText, Theme::errorColour());
        }
    }
    m_preview->setPalette(palette);
}

} // namespace vantor::ui
