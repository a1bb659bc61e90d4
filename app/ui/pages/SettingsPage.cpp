#include "pages/SettingsPage.h"

#include "Desktop.h"
#include "Theme.h"
#include "base/ChecksumAlgorithm.h"
#include "pages/FolderAutomationSheet.h"
#include "queue/QueueService.h"
#include "widgets/PanelSurface.h"
#include "widgets/QuietButton.h"
#include "widgets/SectionLabel.h"
#include "widgets/WorkspaceHeader.h"
#include "workspace/Workspace.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QSettings>
#include <QSignalBlocker>
#include <QUrl>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

const ChecksumAlgorithm::Value offered[] = {ChecksumAlgorithm::xxHash, ChecksumAlgorithm::sha256};

// The user defaults the workspace reads at start; the page is the only writer.
void storeDefault(const char *key, const QVariant &value)
{
    QSettings(QStringLiteral("Vantor"), QStringLiteral("Vantor")).setValue(QLatin1String(key), value);
}

QLabel *helpText(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setFont(Theme::captionFont());
    QPalette muted = label->palette();
    muted.setColor(QPalette::WindowText, Theme::mutedText());
    label->setPalette(muted);
    return label;
}

PanelSurface *section(const QString &title, QVBoxLayout *into, QWidget *parent)
{
    auto *panel = new PanelSurface(parent);
    auto *layout = new QVBoxLayout(panel);
    layout->setSpacing(Theme::space(1));
    layout->addWidget(new SectionLabel(title, panel));
    into->addWidget(panel);
    return panel;
}

} // namespace

SettingsPage::SettingsPage(Workspace &workspace, QWidget *parent) : QWidget(parent), m_workspace(workspace)
{
    auto *layout = new QVBoxLayout(this);
    layout->setSpacing(Theme::space(4));
    layout->addWidget(new WorkspaceHeader(QStringLiteral("05 / Preferences"), QStringLiteral("Settings"),
                                          QStringLiteral("Import defaults, storage and the operation log."), this));

    PanelSurface *defaults = section(QStringLiteral("Import Defaults"), layout, this);
    auto *defaultsLayout = static_cast<QVBoxLayout *>(defaults->layout());
    m_verify = new QCheckBox(QStringLiteral("Verify Copies"), defaults);
    m_verify->setObjectName(QStringLiteral("verifyCopies"));
    m_verify->setAccessibleName(m_verify->text());
    defaultsLayout->addWidget(m_verify, 0, Qt::AlignLeft);
    defaultsLayout->addWidget(helpText(QStringLiteral("Check copied media against the originals."), defaults));

    auto *methodRow = new QHBoxLayout;
    auto *methodLabel = new QLabel(QStringLiteral("Verification Method"), defaults);
    m_checksum = new QComboBox(defaults);
    m_checksum->setObjectName(QStringLiteral("verificationMethod"));
    m_checksum->setAccessibleName(methodLabel->text());
    for (ChecksumAlgorithm::Value algorithm : offered)
        m_checksum->addItem(ChecksumAlgorithm(algorithm).rawValue());
    methodLabel->setBuddy(m_checksum);
    methodRow->addWidget(methodLabel);
    methodRow->addWidget(m_checksum);
    methodRow->addStretch(1);
    defaultsLayout->addLayout(methodRow);
    defaultsLayout->addWidget(helpText(QStringLiteral("Used when verification is enabled."), defaults));

    m_hierarchy = new QCheckBox(QStringLiteral("Preserve Folder Structure"), defaults);
    m_hierarchy->setObjectName(QStringLiteral("preserveFolders"));
    m_hierarchy->setAccessibleName(m_hierarchy->text());
    defaultsLayout->addWidget(m_hierarchy, 0, Qt::AlignLeft);
    defaultsLayout->addWidget(helpText(QStringLiteral("Keep source folders together during import."), defaults));

    m_mhl = new QCheckBox(QStringLiteral("Write ASC MHL Histories"), defaults);
    m_mhl->setObjectName(QStringLiteral("writeMhl"));
    m_mhl->setAccessibleName(m_mhl->text());
    defaultsLayout->addWidget(m_mhl, 0, Qt::AlignLeft);
    defaultsLayout->addWidget(helpText(QStringLiteral("Record each verified card and its proxies in an ascmhl folder "
                                                      "(xxHash64 or MD5)."), defaults));

    const QString directory = workspace.queue().directory();
    PanelSurface *storage = section(QStringLiteral("Storage"), layout, this);
    storage->layout()->addWidget(
        new QLabel(QStringLiteral("Presets, templates and queue history are saved on this computer."), storage));
    m_storagePath = helpText(QDir::toNativeSeparators(directory), storage);
    m_storagePath->setObjectName(QStringLiteral("storagePath"));
    m_storagePath->setTextInteractionFlags(Qt::TextSelectableByMouse);
    storage->layout()->addWidget(m_storagePath);
    m_showStorage = new QuietButton(QStringLiteral("Show In File Manager"), storage);
    m_showStorage->setObjectName(QStringLiteral("showStorage"));
    auto *storageActions = new QHBoxLayout;
    storageActions->addWidget(m_showStorage);
    storageActions->addStretch(1);
    static_cast<QVBoxLayout *>(storage->layout())->addLayout(storageActions);

    PanelSurface *log = section(QStringLiteral("Operation Log"), layout, this);
    m_openLog = new QuietButton(QStringLiteral("Open Log"), log);
    m_openLog->setObjectName(QStringLiteral("openLog"));
    auto *logActions = new QHBoxLayout;
    logActions->addWidget(m_openLog);
    logActions->addStretch(1);
    static_cast<QVBoxLayout *>(log->layout())->addLayout(logActions);

    PanelSurface *automation = section(QStringLiteral("Folder Automation"), layout, this);
    automation->layout()->addWidget(helpText(
        QStringLiteral("Automatically transcode video added to a selected folder. Each rule starts disabled."),
        automation));
    m_automation = new QuietButton(QStringLiteral("Folder Automation\u2026"), automation);
    m_automation->setObjectName(QStringLiteral("openAutomation"));
    auto *automationActions = new QHBoxLayout;
    automationActions->addWidget(m_automation);
    automationActions->addStretch(1);
    static_cast<QVBoxLayout *>(automation->layout())->addLayout(automationActions);

    layout->addStretch(1);
    auto *footer = new QHBoxLayout;
    footer->addWidget(helpText(QStringLiteral("Vantor " VANTOR_VERSION), this));
    footer->addStretch(1);
    footer->addWidget(helpText(QStringLiteral("Free \u00B7 Quillory"), this));
    layout->addLayout(footer);

    QWidget::setTabOrder(m_verify, m_checksum);
    QWidget::setTabOrder(m_checksum, m_hierarchy);
    QWidget::setTabOrder(m_hierarchy, m_mhl);
    QWidget::setTabOrder(m_mhl, m_showStorage);
    QWidget::setTabOrder(m_showStorage, m_openLog);
    QWidget::setTabOrder(m_openLog, m_automation);

    connect(m_verify, &QCheckBox::toggled, this, [this](bool on) {
        storeDefault("import.verify", on);
        m_workspace.setVerify(on);
    });
    connect(m_hierarchy, &QCheckBox::toggled, this, [this](bool on) {
        storeDefault("import.hierarchy", on);
        m_workspace.setHierarchy(on);
    });
    connect(m_mhl, &QCheckBox::toggled, this, [this](bool on) {
        storeDefault("import.mhl", on);
        m_workspace.setMhl(on);
    });
    connect(m_checksum, &QComboBox::activated, this, [this](int row) {
        if (row < 0 || row >= int(std::size(offered)))
            return;
        const ChecksumAlgorithm algorithm(offered[row]);
        storeDefault("import.checksum", algorithm.rawValue());
        m_workspace.setAlgorithm(algorithm);
    });
    connect(m_showStorage, &QPushButton::clicked, this, [this, directory] {
        open(directory, QStringLiteral("The storage folder does not exist: "));
    });
    connect(m_openLog, &QPushButton::clicked, this, [this, directory] {
        open(QDir(directory).filePath(QStringLiteral("operations.log")),
             QStringLiteral("The operation log does not exist yet: "));
    });
    connect(m_automation, &QPushButton::clicked, this, [this] {
        auto *sheet = new FolderAutomationSheet(m_workspace, window());
        connect(sheet, &QDialog::finished, sheet, &QObject::deleteLater);
        sheet->open();
    });
    connect(&workspace, &Workspace::planChanged, this, &SettingsPage::refresh);
    refresh();
}

void SettingsPage::refresh()
{
    // The workspace's fields are what the next import uses, so the controls show them.
    const QSignalBlocker verifyBlocker(m_verify);
    const QSignalBlocker hierarchyBlocker(m_hierarchy);
    const QSignalBlocker checksumBlocker(m_checksum);
    const QSignalBlocker mhlBlocker(m_mhl);
    m_mhl->setChecked(m_workspace.mhl());
    m_verify->setChecked(m_workspace.verify());
    m_hierarchy->setChecked(m_workspace.hierarchy());
    int row = -1; // MD5, read from a settings file written elsewhere, is not offered
    for (int index = 0; index < int(std::size(offered)); ++index) {
        if (m_workspace.algorithm() == offered[index])
            row = index;
    }
    m_checksum->setCurrentIndex(row);
}

void SettingsPage::open(const QString &path, const QString &failure)
{
    // A missing log (nothing has been logged yet) is reported rather than handed to the desktop.
    if (!QFileInfo::exists(path)) {
        m_workspace.setError(failure + QDir::toNativeSeparators(path));
        return;
    }
    Desktop::instance().openUrl(QUrl::fromLocalFile(path));
}

} // namespace vantor::ui
