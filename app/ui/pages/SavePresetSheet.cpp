#include "pages/SavePresetSheet.h"

#include "Theme.h"
#include "widgets/InputRow.h"
#include "widgets/LineField.h"
#include "widgets/QuietButton.h"
#include "workspace/Workspace.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace vantor::ui {

SavePresetSheet::SavePresetSheet(Workspace &workspace, QWidget *parent)
    : QDialog(parent), m_workspace(workspace), m_name(new LineField(QStringLiteral("Preset Name"), this)),
      m_error(new QLabel(this))
{
    setWindowTitle(QStringLiteral("Save Preset"));
    setObjectName(QStringLiteral("savePresetSheet"));
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(3));
    auto *title = new QLabel(QStringLiteral("Save Preset"), this);
    title->setFont(Theme::titleFont());
    layout->addWidget(title);
    m_name->setObjectName(QStringLiteral("presetName"));
    m_name->setText(workspace.customPresetName());
    layout->addWidget(new InputRow(QStringLiteral("Preset Name"), m_name, this));
    m_error->setObjectName(QStringLiteral("savePresetError"));
    m_error->setWordWrap(true);
    QPalette palette = m_error->palette();
    palette.setColor(QPalette::WindowText, Theme::errorColour());
    m_error->setPalette(palette);
    m_error->hide();
    layout->addWidget(m_error);
    auto *cancel = new QuietButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("savePresetCancel"));
    auto *save = new QuietButton(QStringLiteral("Save"), this, true);
    save->setObjectName(QStringLiteral("savePresetSave"));
    save->setDefault(true);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cancel);
    buttons->addWidget(save);
    layout->addLayout(buttons);
    connect(m_name, &QLineEdit::textEdited, this, [this](const QString &name) { m_workspace.setCustomPresetName(name); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(save, &QPushButton::clicked, this, &SavePresetSheet::save);
}

void SavePresetSheet::save()
{
    const QUuid before = m_workspace.preset().id;
    m_workspace.setError(std::nullopt);
    m_workspace.savePreset();
    // A stored preset becomes the current one under a new identity; a refusal changes nothing.
    if (m_workspace.preset().id != before) {
        accept();
        return;
    }
    m_error->setText(m_workspace.error().value_or(QString()));
    m_error->setVisible(!m_error->text().isEmpty());
}

} // namespace vantor::ui
