#include "pages/BatchSourcesSheet.h"

#include "Theme.h"
#include "models/TranscodeSourceModel.h"
#include "widgets/QuietButton.h"
#include "workspace/Workspace.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QVBoxLayout>

namespace vantor::ui {

BatchSourcesSheet::BatchSourcesSheet(Workspace &workspace, QWidget *parent)
    : QDialog(parent), m_workspace(workspace), m_sources(new TranscodeSourceModel(workspace, true, this))
{
    setWindowTitle(QStringLiteral("Batch Sources"));
    setObjectName(QStringLiteral("batchSourcesSheet"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(3));
    auto *title = new QLabel(QStringLiteral("Batch Sources"), this);
    title->setFont(Theme::titleFont());
    layout->addWidget(title);
    auto *about = new QLabel(QStringLiteral("Per-file settings are captured when applied. Files set to Global Settings "
                                            "use the current Transcode controls when queued."),
                             this);
    about->setWordWrap(true);
    layout->addWidget(about);

    m_list = new QListView(this);
    m_list->setObjectName(QStringLiteral("batchSources"));
    m_list->setAccessibleName(QStringLiteral("Sources"));
    m_list->setModel(m_sources);
    m_list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setUniformItemSizes(true);
    layout->addWidget(m_list, 1);

    const auto button = [this](const QString &name, const QString &label) {
        auto *made = new QuietButton(label, this);
        made->setObjectName(name);
        return made;
    };
    QuietButton *select = button(QStringLiteral("batchSelect"), QStringLiteral("Select"));
    QuietButton *all = button(QStringLiteral("batchSelectAll"), QStringLiteral("Select All"));
    QuietButton *apply = button(QStringLiteral("batchApply"), QStringLiteral("Apply Current Settings"));
    QuietButton *global = button(QStringLiteral("batchGlobal"), QStringLiteral("Use Global Settings"));
    QuietButton *remove = button(QStringLiteral("batchRemove"), QStringLiteral("Remove Selected"));
    QuietButton *done = button(QStringLiteral("batchDone"), QStringLiteral("Done"));
    done->setProminent(true);
    auto *picking = new QHBoxLayout;
    picking->addWidget(select);
    picking->addWidget(all);
    picking->addStretch(1);
    layout->addLayout(picking);
    auto *actions = new QHBoxLayout;
    for (QuietButton *action : {apply, global, remove})
        actions->addWidget(action);
    actions->addStretch(1);
    actions->addWidget(done);
    layout->addLayout(actions);

    // "Select" checks the highlighted rows; Space toggles the current one.
    connect(select, &QPushButton::clicked, this, [this] {
        for (const QModelIndex &index : m_list->selectionModel()->selectedIndexes())
            m_sources->setData(index, Qt::Checked, Qt::CheckStateRole);
    });
    connect(all, &QPushButton::clicked, this, [this] { m_sources->checkAll(true); });
    connect(apply, &QPushButton::clicked, this, [this] {
        for (const QString &url : m_sources->checked())
            m_workspace.setSourcePreset(url, m_workspace.preset());
    });
    connect(global, &QPushButton::clicked, this, [this] {
        for (const QString &url : m_sources->checked())
            m_workspace.setSourcePreset(url, std::nullopt);
    });
    connect(remove, &QPushButton::clicked, this, [this] {
        const QStringList gone = m_sources->checked();
        std::vector<SourceFile> kept;
        for (const SourceFile &source : m_workspace.sources()) {
            if (!gone.contains(source.url))
                kept.push_back(source);
        }
        m_workspace.setSources(kept);
    });
    connect(done, &QPushButton::clicked, this, &QDialog::accept);

    const auto enable = [=, this] {
        const bool any = !m_sources->checked().isEmpty();
        for (QuietButton *action : {apply, global, remove})
            action->setEnabled(any);
    };
    connect(m_sources, &QAbstractItemModel::dataChanged, this, enable);
    connect(m_sources, &QAbstractItemModel::rowsRemoved, this, enable);
    connect(m_sources, &QAbstractItemModel::modelReset, this, enable);
    enable();
    resize(Theme::lineHeight() * 36, Theme::lineHeight() * 26);
}

} // namespace vantor::ui
