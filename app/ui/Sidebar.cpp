#include "Sidebar.h"

#include "AppIcon.h"
#include "Desktop.h"
#include "Theme.h"
#include "models/QueueChanges.h"
#include "queue/QueueService.h"
#include "widgets/SectionLabel.h"
#include "widgets/StatusCounts.h"
#include "workspace/Workspace.h"

#include <QButtonGroup>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

const QUrl makerSite(QStringLiteral("https://quillory.com"));

} // namespace

Sidebar::Sidebar(Workspace &workspace, QWidget *parent)
    : QWidget(parent), m_workspace(workspace), m_entries(new QButtonGroup(this)),
      m_counts(new StatusCounts(QStringLiteral("sidebar-count"), 2, this))
{
    setObjectName(QStringLiteral("sidebar"));
    auto *layout = new QVBoxLayout(this);
    const int pad = Theme::space(4);
    layout->setContentsMargins(pad, pad, pad, pad);
    layout->setSpacing(Theme::space(1));

    auto *brand = new QHBoxLayout;
    auto *mark = new QLabel(this);
    const int markSize = Theme::lineHeight() * 2;
    mark->setPixmap(markPixmap(markSize, devicePixelRatioF()));
    auto *name = new QLabel(QStringLiteral("VANTOR"), this);
    QFont nameFont = Theme::titleFont();
    nameFont.setPointSizeF(nameFont.pointSizeF() * 0.7);
    nameFont.setLetterSpacing(QFont::PercentageSpacing, 118);
    name->setFont(nameFont);
    brand->addWidget(mark);
    brand->addWidget(name, 1);
    layout->addLayout(brand);
    layout->addSpacing(Theme::space(4));

    for (const Page page : {Page::ingest, Page::transcode, Page::queue, Page::project, Page::settings}) {
        auto *entry = new QPushButton(pageLabel(page), this);
        entry->setObjectName(QStringLiteral("page-") + pageLabel(page).toLower());
        entry->setAccessibleName(pageLabel(page));
        entry->setCheckable(true);
        entry->setFlat(true);
        entry->setStyleSheet(QStringLiteral("QPushButton { text-align: left; padding: %1px %2px; border-radius: %3px; }"
                                            " QPushButton:checked { background: %4; color: %5; }")
                                 .arg(Theme::space(2))
                                 .arg(Theme::space(3))
                                 .arg(Theme::space(1))
                                 .arg(Theme::accent().name(), palette().color(QPalette::HighlightedText).name()));
        m_entries->addButton(entry, int(page));
        layout->addWidget(entry);
    }
    connect(m_entries, &QButtonGroup::idClicked, this, [this](int id) { m_workspace.setPage(Page(id)); });
    const auto showPage = [this] {
        const QSignalBlocker blocker(m_entries);
        m_entries->button(int(m_workspace.page()))->setChecked(true);
    };
    connect(&workspace, &Workspace::pageChanged, this, showPage);
    showPage();

    layout->addSpacing(Theme::space(6));
    layout->addWidget(new SectionLabel(tr("QUEUE"), this));
    layout->addSpacing(Theme::space(1));
    layout->addWidget(m_counts);
    const auto showCounts = [this] { m_counts->update(m_workspace.queue().state().jobs); };
    connect(new QueueChanges(workspace.queue(), this), &QueueChanges::changed, this, showCounts);
    showCounts();

    layout->addStretch(1);
    auto *site = new QPushButton(tr("Open Quillory"), this);
    site->setObjectName(QStringLiteral("open-quillory"));
    site->setAccessibleName(site->text());
    site->setFlat(true);
    site->setCursor(Qt::PointingHandCursor);
    site->setStyleSheet(QStringLiteral("QPushButton { text-align: left; color: %1; }").arg(Theme::accent().name()));
    connect(site, &QPushButton::clicked, this, [] { Desktop::instance().openUrl(makerSite); });
    layout->addWidget(site);
}

void Sidebar::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Theme::sidebar());
    painter.fillRect(QRect(width() - 1, 0, 1, height()), Theme::rule());
}

} // namespace vantor::ui
