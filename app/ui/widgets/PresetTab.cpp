#include "widgets/PresetTab.h"

#include "Theme.h"
#include "base/VantorError.h"
#include "presets/PresetService.h"
#include "widgets/PanelSurface.h"
#include "widgets/SectionLabel.h"
#include "workspace/Workspace.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

std::optional<QString> refusal(const TranscodePreset &preset)
{
    try {
        PresetService::validate(preset);
        return std::nullopt;
    } catch (const VantorError &error) {
        return error.message();
    }
}

// Captions share one width, so the controls beside them line up.
int captionWidth(const QWidget *caption) { return caption->fontMetrics().horizontalAdvance(QLatin1Char('M')) * 11; }

void colour(QLabel *label, const QColor &colour)
{
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
}

} // namespace

PresetTab::PresetTab(PresetEditing &editing, QWidget *parent) : QWidget(parent), m_editing(editing) {}

void PresetTab::present()
{
    const TranscodePreset &preset = m_editing.workspace.preset();
    const MediaInfo *info = m_editing.info ? &*m_editing.info : nullptr;
    std::vector<std::unique_ptr<QSignalBlocker>> blockers;
    for (const auto &[control, label] : m_refusals)
        blockers.push_back(std::make_unique<QSignalBlocker>(control));
    for (const Show &show : m_shows)
        show(preset, info);
    const std::optional<QString> message = refusal(preset);
    for (const auto &[control, label] : m_refusals) {
        const bool here = message && control == m_editing.lastEdited;
        label->setText(here ? *message : QString());
        label->setVisible(here);
    }
}

void PresetTab::edit(QWidget *control, const std::function<void(TranscodePreset &)> &change)
{
    TranscodePreset preset = m_editing.workspace.preset();
    // A refusal stays beside the control that caused it until the preset passes again.
    if (!m_editing.lastEdited || !refusal(preset))
        m_editing.lastEdited = control;
    change(preset);
    m_editing.workspace.setPreset(preset);
    present(); // the refusal beside this control, even when the preset did not change
}

QVBoxLayout *PresetTab::section(const QString &title, QVBoxLayout *into)
{
    auto *panel = new PanelSurface(this);
    auto *layout = new QVBoxLayout(panel);
    layout->setSpacing(Theme::space(1));
    layout->addWidget(new SectionLabel(title, panel));
    into->addWidget(panel);
    return layout;
}

void PresetTab::place(QVBoxLayout *into, QWidget *control, const QString &label, bool inline_)
{
    auto *row = new QHBoxLayout;
    row->setSpacing(Theme::space(3));
    if (!inline_) {
        auto *caption = new QLabel(label, this);
        caption->setMinimumWidth(captionWidth(caption));
        caption->setBuddy(control);
        row->addWidget(caption);
    }
    control->setAccessibleName(label);
    row->addWidget(control, inline_ ? 0 : 1);
    auto *refused = new QLabel(this);
    refused->setObjectName(control->objectName() + QStringLiteral("Refusal"));
    refused->setWordWrap(true);
    refused->setFont(Theme::captionFont());
    colour(refused, Theme::errorColour());
    refused->hide();
    row->addWidget(refused, 1);
    if (inline_)
        row->addStretch(1);
    into->addLayout(row);
    m_refusals.emplace_back(control, refused);
}

QCheckBox *PresetTab::check(QVBoxLayout *into, const QString &name, const QString &label,
                            std::function<bool(const TranscodePreset &)> get,
                            std::function<void(TranscodePreset &, bool)> set)
{
    auto *box = new QCheckBox(QString(label).replace(u'&', QStringLiteral("&&")), this); // "&" is no mnemonic
    box->setObjectName(name);
    place(into, box, label, true);
    connect(box, &QCheckBox::toggled, this, [this, box, set](bool on) { edit(box, [&](TranscodePreset &p) { set(p, on); }); });
    onPresent([box, get](const TranscodePreset &preset, const MediaInfo *) { box->setChecked(get(preset)); });
    return box;
}

QCheckBox *PresetTab::tuningCheck(QVBoxLayout *into, const QString &name, const QString &label,
                                  bool EncodingOptions::*field)
{
    return check(into, name, label, [field](const TranscodePreset &p) { return p.tuning().*field; },
                 [field](TranscodePreset &p, bool on) { tune(p, field, on); });
}

QCheckBox *PresetTab::finishCheck(QVBoxLayout *into, const QString &name, const QString &label,
                                  bool FinishingOptions::*field)
{
    return check(into, name, label, [field](const TranscodePreset &p) { return p.finish().*field; },
                 [field](TranscodePreset &p, bool on) { finish(p, field, on); });
}

QSpinBox *PresetTab::number(QVBoxLayout *into, const QString &name, const QString &label, int minimum, int maximum,
                            std::function<qint64(const TranscodePreset &)> get,
                            std::function<void(TranscodePreset &, qint64)> set)
{
    auto *spin = new QSpinBox(this);
    spin->setObjectName(name);
    spin->setRange(minimum, maximum);
    spin->setKeyboardTracking(false); // one edit per committed number, not per keystroke
    place(into, spin, label, false);
    connect(spin, &QSpinBox::valueChanged, this,
            [this, spin, set](int value) { edit(spin, [&](TranscodePreset &p) { set(p, value); }); });
    onPresent([spin, get](const TranscodePreset &preset, const MediaInfo *) { spin->setValue(int(get(preset))); });
    return spin;
}

QComboBox *PresetTab::choice(QVBoxLayout *into, const QString &name, const QString &label, const Choices &choices,
                             std::function<QVariant(const TranscodePreset &)> get,
                             std::function<void(TranscodePreset &, const QVariant &)> set)
{
    auto *box = new QComboBox(this);
    box->setObjectName(name);
    for (const auto &[text, value] : choices)
        box->addItem(text, value);
    place(into, box, label, false);
    connect(box, &QComboBox::currentIndexChanged, this, [this, box, set](int row) {
        if (row >= 0)
            edit(box, [&](TranscodePreset &p) { set(p, box->itemData(row)); });
    });
    onPresent([box, get](const TranscodePreset &preset, const MediaInfo *) {
        // Compared as text, so an int choice matches a 64-bit field.
        const QString value = get(preset).toString();
        int row = -1;
        for (int index = 0; index < box->count() && row < 0; ++index)
            row = box->itemData(index).toString() == value ? index : -1;
        box->setCurrentIndex(row);
    });
    return box;
}

QLineEdit *PresetTab::text(QVBoxLayout *into, const QString &name, const QString &label,
                           std::function<QString(const TranscodePreset &)> get,
                           std::function<void(TranscodePreset &, const QString &)> set)
{
    auto *field = new QLineEdit(this);
    field->setObjectName(name);
    place(into, field, label, false);
    connect(field, &QLineEdit::textEdited, this,
            [this, field, set](const QString &value) { edit(field, [&](TranscodePreset &p) { set(p, value); }); });
    onPresent([field, get](const TranscodePreset &preset, const MediaInfo *) {
        if (field->text() != get(preset)) // keeps the cursor where the user types
            field->setText(get(preset));
    });
    return field;
}

QLabel *PresetTab::help(QVBoxLayout *into, const QString &text, const QString &name, bool warning)
{
    auto *label = new QLabel(text, this);
    label->setObjectName(name);
    label->setWordWrap(true);
    label->setFont(Theme::captionFont());
    colour(label, warning ? Theme::errorColour() : Theme::mutedText());
    into->addWidget(label);
    m_helps.emplace_back(label, warning);
    return label;
}

QLabel *PresetTab::reading(QVBoxLayout *into, const QString &name, const QString &label)
{
    auto *row = new QHBoxLayout;
    row->setSpacing(Theme::space(3));
    auto *caption = new QLabel(label, this);
    caption->setMinimumWidth(captionWidth(caption));
    auto *value = new QLabel(this);
    value->setObjectName(name);
    value->setAccessibleName(label);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    row->addWidget(caption);
    row->addWidget(value, 1);
    into->addLayout(row);
    return value;
}

void PresetTab::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        paintTexts();
}

void PresetTab::paintTexts()
{
    // Derived colours follow the desktop's palette when it changes (light to dark).
    for (const auto &[label, warning] : m_helps)
        colour(label, warning ? Theme::errorColour() : Theme::mutedText());
    for (const auto &[control, label] : m_refusals)
        colour(label, Theme::errorColour());
}

} // namespace vantor::ui
