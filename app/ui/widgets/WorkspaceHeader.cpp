#include "widgets/WorkspaceHeader.h"

#include "Theme.h"

#include <QLabel>
#include <QVBoxLayout>

namespace vantor::ui {

WorkspaceHeader::WorkspaceHeader(const QString &eyebrow, const QString &title, const QString &subtitle, QWidget *parent)
    : QWidget(parent), m_eyebrow(new QLabel(eyebrow, this)), m_title(new QLabel(title, this)),
      m_subtitle(new QLabel(subtitle, this))
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(1));
    m_eyebrow->setObjectName(QStringLiteral("header-eyebrow"));
    m_title->setObjectName(QStringLiteral("header-title"));
    m_subtitle->setObjectName(QStringLiteral("header-subtitle"));
    m_eyebrow->setFont(Theme::eyebrowFont());
    m_title->setFont(Theme::titleFont());
    m_subtitle->setWordWrap(true);
    QPalette muted = m_eyebrow->palette();
    muted.setColor(QPalette::WindowText, Theme::mutedText());
    m_eyebrow->setPalette(muted);
    m_subtitle->setPalette(muted);
    m_title->setAccessibleName(title);
    layout->addWidget(m_eyebrow);
    layout->addWidget(m_title);
    layout->addWidget(m_subtitle);
}

void WorkspaceHeader::setSubtitle(const QString &subtitle) { m_subtitle->setText(subtitle); }
QString WorkspaceHeader::eyebrow() const { return m_eyebrow->text(); }
QString WorkspaceHeader::title() const { return m_title->text(); }
QString WorkspaceHeader::subtitle() const { return m_subtitle->text(); }

} // namespace vantor::ui
