#include "pages/VolumeBar.h"

#include "Theme.h"
#include "platform/RemovableVolumes.h"
#include "widgets/Binding.h"
#include "widgets/PanelSurface.h"
#include "widgets/QuietButton.h"
#include "workspace/Workspace.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QVBoxLayout>
#include <algorithm>

namespace vantor::ui {

VolumeBar::VolumeBar(Workspace &workspace, QWidget *parent)
    : QWidget(parent), m_workspace(workspace), m_layout(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("volumeBar"));
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(Theme::space(2));
    RemovableVolumes &volumes = workspace.volumes();
    connect(&volumes, &RemovableVolumes::volumeMounted, this, &VolumeBar::refresh);
    connect(&volumes, &RemovableVolumes::volumeRemoved, this, &VolumeBar::refresh);
    connect(&volumes, &RemovableVolumes::ejectingChanged, this, &VolumeBar::refreshButtons);
    connect(&workspace, &Workspace::scanningChanged, this, &VolumeBar::refreshButtons);
    refresh();
}

QList<QWidget *> VolumeBar::controls() const
{
    QList<QWidget *> buttons;
    for (const Row &row : m_rows)
        buttons << row.eject << row.import; // as they stand, left to right
    return buttons;
}

VolumeBar::Row VolumeBar::makeRow(const RemovableVolume &volume)
{
    const QString quoted = QStringLiteral("\u201C") + volume.label + QStringLiteral("\u201D");
    auto *panel = named(new PanelSurface(this), "volumeOffer");
    auto *layout = new QHBoxLayout(panel);
    layout->setSpacing(Theme::space(3));
    auto *text = new QVBoxLayout;
    text->setSpacing(0);
    auto *title = named(new QLabel(volume.label, panel), "volumeLabel");
    QFont bold = title->font();
    bold.setWeight(QFont::DemiBold);
    title->setFont(bold);
    auto *detail = named(new QLabel(QLocale().formattedDataSize(volume.size, 1, QLocale::DataSizeSIFormat)
                                        + QStringLiteral(" \u00B7 ") + volume.mountPoint,
                                    panel),
                         "volumeDetail");
    detail->setFont(Theme::captionFont());
    detail->setForegroundRole(QPalette::PlaceholderText);
    for (QLabel *label : {title, detail}) {
        label->setAccessibleName(label->text());
        text->addWidget(label);
    }
    layout->addLayout(text, 1);
    Row row{volume, panel, named(new QuietButton(QStringLiteral("Import"), panel), "importVolume"),
            named(new QuietButton(QStringLiteral("Eject"), panel), "ejectVolume")};
    row.import->setAccessibleDescription(QStringLiteral("Import ") + quoted);
    row.eject->setAccessibleDescription(QStringLiteral("Eject ") + quoted);
    layout->addWidget(row.eject);
    layout->addWidget(row.import);
    // A card's files arrive as a drop of its folder does, on this page.
    connect(row.import, &QPushButton::clicked, this,
            [this, volume] { m_workspace.receive({volume.mountPoint}, Page::ingest); });
    connect(row.eject, &QPushButton::clicked, this, [this, volume] { m_workspace.eject(volume.mountPoint); });
    return row;
}

void VolumeBar::refresh()
{
    const std::vector<RemovableVolume> &volumes = m_workspace.volumes().volumes();
    std::vector<Row> rows;
    for (const RemovableVolume &volume : volumes) {
        auto kept = std::find_if(m_rows.begin(), m_rows.end(), [&](const Row &row) { return row.volume == volume; });
        if (kept != m_rows.end()) {
            rows.push_back(*kept);
            m_rows.erase(kept);
        } else {
            rows.push_back(makeRow(volume));
        }
    }
    for (const Row &gone : m_rows) {
        m_layout->removeWidget(gone.panel);
        gone.panel->hide();
        gone.panel->deleteLater();
    }
    m_rows = std::move(rows);
    for (const Row &row : m_rows) { // in the list's order
        m_layout->removeWidget(row.panel);
        m_layout->addWidget(row.panel);
    }
    setVisible(!m_rows.empty());
    refreshButtons();
    Q_EMIT controlsChanged();
}

void VolumeBar::refreshButtons()
{
    for (const Row &row : m_rows) {
        const bool ejecting = m_workspace.volumes().ejecting(row.volume);
        row.eject->setLabel(ejecting ? QStringLiteral("Ejecting\u2026") : QStringLiteral("Eject"));
        row.eject->setEnabled(!ejecting);
        row.import->setEnabled(!ejecting && !m_workspace.scanning());
    }
}

} // namespace vantor::ui
