#include "MessageBanner.h"

#include "Theme.h"
#include "queue/QueueService.h"
#include "widgets/QuietButton.h"
#include "workspace/Workspace.h"

#include <QHBoxLayout>
#include <QLabel>

namespace vantor::ui {

MessageBanner::MessageBanner(Workspace &workspace, QWidget *parent)
    : QWidget(parent), m_workspace(workspace), m_text(new QLabel(this)),
      m_dismiss(new QuietButton(tr("Dismiss"), this))
{
    setObjectName(QStringLiteral("banner"));
    setAutoFillBackground(true);
    QPalette colours = palette();
    colours.setColor(QPalette::Window, Theme::mix(palette().color(QPalette::Window), Theme::errorColour(), 0.16));
    setPalette(colours);
    auto *layout = new QHBoxLayout(this);
    const int pad = Theme::space(2);
    layout->setContentsMargins(pad * 2, pad, pad, pad);
    m_text->setObjectName(QStringLiteral("banner-text"));
    m_text->setWordWrap(true);
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_dismiss->setObjectName(QStringLiteral("banner-dismiss"));
    layout->addWidget(m_text, 1);
    layout->addWidget(m_dismiss);
    connect(m_dismiss, &QPushButton::clicked, this, [this] {
        if (m_workspace.error()) {
            m_workspace.setError(std::nullopt);
        } else {
            m_dismissedPersistenceError = m_workspace.queue().persistenceError().value_or(QString());
            refresh();
        }
    });
    connect(&workspace, &Workspace::errorChanged, this, &MessageBanner::refresh);
    connect(&workspace.queue(), &QueueService::persistenceErrorChanged, this, &MessageBanner::refresh);
    refresh();
}

QString MessageBanner::message() const { return isHidden() ? QString() : m_text->text(); }

void MessageBanner::refresh()
{
    QString text = m_workspace.error().value_or(QString());
    if (text.isEmpty()) {
        const QString saving = m_workspace.queue().persistenceError().value_or(QString());
        if (saving != m_dismissedPersistenceError)
            text = saving;
    }
    m_text->setText(text);
    m_text->setAccessibleName(text);
    setVisible(!text.isEmpty());
}

} // namespace vantor::ui
