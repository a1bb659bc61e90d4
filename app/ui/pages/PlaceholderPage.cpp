#include "pages/PlaceholderPage.h"

#include "Theme.h"
#include "widgets/PanelSurface.h"
#include "widgets/WorkspaceHeader.h"

#include <QLabel>
#include <QVBoxLayout>

namespace vantor::ui {

PlaceholderPage::PlaceholderPage(const QString &eyebrow, const QString &title, const QString &promise,
                                 const QString &holds, const QString &meanwhile, QWidget *parent)
    : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    const int margin = Theme::space(6);
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(Theme::space(4));
    layout->addWidget(new WorkspaceHeader(eyebrow, title, promise, this));
    auto *panel = new PanelSurface(this);
    auto *inside = new QVBoxLayout(panel);
    auto *note = new QLabel(tr("This page is not in the window yet. It will hold %1.\n\nUntil then the command "
                               "line does its work: %2")
                                .arg(holds, meanwhile),
                            panel);
    note->setTextInteractionFlags(Qt::TextSelectableByMouse);
    note->setWordWrap(true);
    inside->addWidget(note);
    layout->addWidget(panel);
    layout->addStretch(1);
}

} // namespace vantor::ui
