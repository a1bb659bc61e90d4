#include "widgets/SummaryTab.h"

#include "Theme.h"
#include "queue/QueueService.h"
#include "widgets/QuietButton.h"
#include "workspace/Workspace.h"

#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace vantor::ui {

SummaryTab::SummaryTab(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    // The source inspector panel fills it: the Summary rows, the counts and the source preview.
    auto *layout = new QVBoxLayout(this);
    auto *area = new QWidget(this);
    area->setObjectName(QStringLiteral("sourceInspectorSlot"));
    m_inspectorArea = new QVBoxLayout(area);
    m_inspectorArea->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(area, 1);
}

OutputRow::OutputRow(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    QVBoxLayout *output = section(QStringLiteral("Output"), layout);
    auto *row = new QHBoxLayout;
    auto *caption = new QLabel(QStringLiteral("Save To"), this);
    auto *folder = new QLabel(this);
    folder->setObjectName(QStringLiteral("saveTo"));
    folder->setAccessibleName(caption->text());
    folder->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *choose = new QuietButton(QStringLiteral("Choose Output Folder"), this);
    choose->setObjectName(QStringLiteral("chooseOutputFolder"));
    row->addWidget(caption);
    row->addWidget(folder, 1);
    row->addWidget(choose);
    output->addLayout(row);
    text(output, QStringLiteral("suffix"), QStringLiteral("Suffix"), [](const TranscodePreset &p) { return p.suffix; },
         [](TranscodePreset &p, const QString &v) { p.suffix = v; });
    connect(choose, &QPushButton::clicked, this, [this] {
        this->editing().workspace.chooseTranscodeDestination();
        present(); // the folder lives in the stored state, which reports no change of its own
    });
    onPresent([this, folder](const TranscodePreset &, const MediaInfo *) {
        const auto &destination = this->editing().workspace.queue().state().transcodeDestination;
        folder->setText(destination ? QDir::toNativeSeparators(destination->resolve())
                                    : QStringLiteral("No Output Folder Chosen"));
    });
}

} // namespace vantor::ui
