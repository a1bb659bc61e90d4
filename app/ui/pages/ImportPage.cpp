#include "pages/ImportPage.h"

#include "widgets/Binding.h"
#include "Theme.h"
#include "models/SourceListModel.h"
#include "pages/FolderAutomationSheet.h"
#include "pages/ImportPlanPanel.h"
#include "pages/VolumeBar.h"
#include "queue/QueueService.h"
#include "widgets/DropZone.h"
#include "widgets/PanelSurface.h"
#include "widgets/QuietButton.h"
#include "widgets/SectionLabel.h"
#include "widgets/SourceDelegate.h"
#include "widgets/WorkspaceHeader.h"
#include "workspace/Workspace.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QLocale>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

QLabel *mutedLabel(const char *objectName, QWidget *parent)
{
    auto *label = named(new QLabel(parent), objectName);
    label->setFont(Theme::captionFont());
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

} // namespace

ImportPage::ImportPage(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_workspace(workspace)
    , m_model(new SourceListModel(workspace, this))
{
    setObjectName(QStringLiteral("importPage"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(4));

    auto *top = new QHBoxLayout;
    top->addWidget(new WorkspaceHeader(QStringLiteral("01 / Ingest"), QStringLiteral("Import"),
                       QStringLiteral("Camera cards, folders and files, copied into the project with "
                                      "checksum verification and named as you choose."),
                       this),
        1);
    m_automation = named(new QuietButton(QStringLiteral("Automation\u2026"), this), "importAutomation");
    m_add = named(new QuietButton(QStringLiteral("Add Sources\u2026"), this), "addSources");
    top->addWidget(m_automation, 0, Qt::AlignTop);
    top->addWidget(m_add, 0, Qt::AlignTop);
    layout->addLayout(top);

    auto *columns = new QHBoxLayout;
    columns->setSpacing(Theme::space(4));
    columns->addWidget(buildSources(), 3);
    m_plan = new ImportPlanPanel(workspace, this);
    m_plan->setMinimumWidth(Theme::lineHeight() * 22);
    columns->addWidget(m_plan, 2);
    layout->addLayout(columns, 1);

    auto *footer = new QHBoxLayout;
    m_project = mutedLabel("importProject", this);
    m_queue = named(new QuietButton(QStringLiteral("Queue && start"), this, true), "queueStart");
    m_queue->setAccessibleName(QStringLiteral("Queue & start")); // "&&" shows one "&", not a mnemonic
    m_queue->setShortcut(QKeySequence(int(Qt::CTRL) | int(Qt::Key_Return)));
    m_queue->setToolTip(m_queue->shortcut().toString(QKeySequence::NativeText));
    footer->addWidget(m_project, 1);
    footer->addWidget(m_queue);
    layout->addLayout(footer);

    QWidget::setTabOrder(m_automation, m_add);
    QWidget::setTabOrder(m_add, m_dropZone->browseButton());
    QWidget::setTabOrder(m_dropZone->browseButton(), m_list);
    QWidget::setTabOrder(m_list, m_removeAll);
    QWidget::setTabOrder(m_removeAll, m_plan->firstControl());
    QWidget::setTabOrder(m_plan->lastControl(), m_queue);
    orderVolumeControls();
    connect(m_volumes, &VolumeBar::controlsChanged, this, &ImportPage::orderVolumeControls);

    connect(m_automation, &QPushButton::clicked, this, [this] {
        auto *sheet = new FolderAutomationSheet(m_workspace, window());
        sheet->setObjectName(QStringLiteral("importAutomationSheet"));
        connect(sheet, &QDialog::finished, sheet, &QObject::deleteLater);
        sheet->open();
    });
    connect(m_add, &QPushButton::clicked, &m_workspace, &Workspace::addSources);
    connect(m_dropZone->browseButton(), &QPushButton::clicked, &m_workspace, &Workspace::addSources);
    // A drop here stays here, even when it arrives while another page is current.
    connect(m_dropZone, &DropZone::dropped, this,
        [this](const QStringList &paths) { m_workspace.receive(paths, Page::ingest); });
    connect(m_removeAll, &QPushButton::clicked, this, [this] { m_workspace.setSources({}); });
    connect(m_queue, &QPushButton::clicked, this, &ImportPage::queueAndStart);

    connect(&workspace, &Workspace::sourcesChanged, this, &ImportPage::refreshSources);
    connect(&workspace, &Workspace::scanningChanged, this, &ImportPage::refreshScanning);
    connect(&workspace, &Workspace::projectFieldsChanged, this, &ImportPage::refreshProject);
    connect(&workspace, &Workspace::renameConfirmationChanged, this, &ImportPage::showConfirmation);
    refreshSources();
    refreshScanning();
    refreshProject();
}

QWidget *ImportPage::buildSources()
{
    auto *column = new QWidget(this);
    auto *layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(3));
    m_volumes = new VolumeBar(m_workspace, column);
    layout->addWidget(m_volumes);
    m_dropZone = new DropZone(column);
    layout->addWidget(m_dropZone);

    auto *panel = new PanelSurface(column);
    auto *list = new QVBoxLayout(panel);
    list->setSpacing(Theme::space(2));
    auto *heading = new QHBoxLayout;
    heading->addWidget(new SectionLabel(QStringLiteral("Source media"), panel));
    heading->addStretch(1);
    m_scanning = named(new QWidget(panel), "scanning");
    auto *scanRow = new QHBoxLayout(m_scanning);
    scanRow->setContentsMargins(0, 0, 0, 0);
    auto *scanText = new QLabel(QStringLiteral("Scanning sources\u2026"), m_scanning);
    scanText->setFont(Theme::captionFont());
    auto *busy = new QProgressBar(m_scanning);
    busy->setRange(0, 0); // no total is known while a card is walked
    busy->setTextVisible(false);
    busy->setMaximumHeight(Theme::space(2));
    busy->setMaximumWidth(Theme::lineHeight() * 8);
    busy->setAccessibleName(scanText->text());
    scanRow->addWidget(scanText);
    scanRow->addWidget(busy, 1);
    // Its space is kept while hidden: a scan's start and end repaint the heading, not the list.
    QSizePolicy keep = m_scanning->sizePolicy();
    keep.setRetainSizeWhenHidden(true);
    m_scanning->setSizePolicy(keep);
    heading->addWidget(m_scanning);
    m_count = named(new SectionLabel(QString(), panel), "sourceCount");
    heading->addWidget(m_count);
    list->addLayout(heading);

    m_list = named(new QListView(panel), "sourceList");
    m_list->setModel(m_model);
    auto *delegate = new SourceDelegate(m_list);
    m_list->setItemDelegate(delegate);
    m_list->setAccessibleName(QStringLiteral("Source media"));
    m_list->setUniformItemSizes(true);
    m_list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setMouseTracking(true);
    m_list->setMinimumHeight(Theme::lineHeight() * 8);
    list->addWidget(m_list, 1);
    connect(delegate, &SourceDelegate::removeRequested, m_model, &SourceListModel::remove);
    // The keyboard's way to the row's remove mark.
    auto *removeCurrent = new QAction(QStringLiteral("Remove"), m_list);
    removeCurrent->setObjectName(QStringLiteral("removeSource"));
    removeCurrent->setShortcuts({ QKeySequence::Delete, QKeySequence(Qt::Key_Backspace) });
    removeCurrent->setShortcutContext(Qt::WidgetShortcut);
    m_list->addAction(removeCurrent);
    connect(removeCurrent, &QAction::triggered, this, [this] {
        if (m_list->currentIndex().isValid())
            m_model->remove(m_list->currentIndex().row());
    });

    auto *listFooter = new QHBoxLayout;
    m_summary = mutedLabel("sourceSummary", panel);
    m_removeAll = named(new QuietButton(QStringLiteral("Remove all"), panel), "removeAll");
    listFooter->addWidget(m_summary, 1);
    listFooter->addWidget(m_removeAll);
    list->addLayout(listFooter);
    layout->addWidget(panel, 1);
    return column;
}

// A card's buttons come between "Add Sources…" and the drop zone's, where they are shown.
void ImportPage::orderVolumeControls()
{
    QWidget *previous = m_add;
    for (QWidget *control : m_volumes->controls()) {
        QWidget::setTabOrder(previous, control);
        previous = control;
    }
}

void ImportPage::refreshSources()
{
    const std::vector<SourceFile> &sources = m_workspace.sources();
    qint64 bytes = 0;
    for (const SourceFile &source : sources)
        bytes += source.size;
    const qsizetype files = qsizetype(sources.size());
    m_count->setText(QStringLiteral("%1 FILES").arg(files));
    m_summary->setText((files == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(files))
        + QStringLiteral(" \u00B7 ") + QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat)
        + QStringLiteral(" total"));
    m_summary->setAccessibleName(m_summary->text());
    m_removeAll->setEnabled(files > 0);
}

void ImportPage::refreshScanning()
{
    const bool scanning = m_workspace.scanning();
    m_scanning->setVisible(scanning);
    // A drop or choice meanwhile would be ignored; queueing waits for the list to be complete.
    m_add->setEnabled(!scanning);
    m_dropZone->browseButton()->setEnabled(!scanning);
    m_queue->setEnabled(!scanning);
}

void ImportPage::refreshProject()
{
    const std::optional<ProjectContext> &project = m_workspace.queue().state().project;
    m_project->setText(project ? QStringLiteral("Into \u201C") + project->name + QStringLiteral("\u201D")
                               : QStringLiteral("Create or open a project first"));
    m_project->setAccessibleName(m_project->text());
}

void ImportPage::queueAndStart()
{
    if (!m_workspace.rename()) {
        m_workspace.enqueue();
        return;
    }
    m_workspace.setRenameConfirmation(true);
}

void ImportPage::showConfirmation()
{
    if (!m_workspace.renameConfirmation()) {
        if (m_confirmation)
            m_confirmation->close();
        return;
    }
    if (m_confirmation)
        return;
    const QString title = QStringLiteral("Use the previewed output names?");
    m_confirmation = new QMessageBox(QMessageBox::Question, title, title, QMessageBox::NoButton, window());
    m_confirmation->setObjectName(QStringLiteral("renameConfirmation"));
    m_confirmation->setInformativeText(
        QStringLiteral("Only newly created copies and transcodes receive these names. "
                       "Original source filenames remain unchanged."));
    m_confirmation->setAttribute(Qt::WA_DeleteOnClose);
    // Both in one role, so they keep this order on every desktop.
    QPushButton *cancel = m_confirmation->addButton(QStringLiteral("Cancel"), QMessageBox::ActionRole);
    QPushButton *queue
        = m_confirmation->addButton(QStringLiteral("Queue named copies"), QMessageBox::ActionRole);
    cancel->setObjectName(QStringLiteral("renameCancel"));
    queue->setObjectName(QStringLiteral("queueNamedCopies"));
    m_confirmation->setDefaultButton(queue);
    m_confirmation->setEscapeButton(cancel);
    connect(m_confirmation, &QMessageBox::buttonClicked, this, [this, queue](QAbstractButton *clicked) {
        m_confirmation = nullptr;
        m_workspace.setRenameConfirmation(false);
        if (clicked == queue)
            m_workspace.enqueue();
    });
    connect(m_confirmation, &QObject::destroyed, this, [this] {
        m_confirmation = nullptr;
        m_workspace.setRenameConfirmation(false);
    });
    m_confirmation->open();
}

} // namespace vantor::ui
