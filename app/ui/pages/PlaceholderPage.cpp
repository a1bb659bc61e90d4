#include "pages/PlaceholderPage.h"

#include "Theme.h"
#include "widgets/PanelSurface.h"
#include "widgets/WorkspaceHeader.h"

#include <QLabel>
#include <QVBoxLayout>

namespace vantor::ui {

PlaceholderPage::PlaceholderPage(const QString &eyebrow, const QString &title, const QString &promise, QWidget *parent)
    : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    const int margin = Theme::space(6);
    layout->setContentsMargins(margin, margin, margin, margin);
    layout->setSpacing(Theme::space(4));
    layout->addWidget(new WorkspaceHeader(eyebrow, title, promise, this));
    auto *panel = new PanelSurface(this);
    auto *inside = new QVBoxLayout(panel);
    auto *note = new QLabel(tr("This page is not in the window yet. The command line does its work today: "
                               "run 'vantor --help'."),
                            panel);
    note->setWordWrap(true);
    inside->addWidget(note);
    layout->addWidget(panel);
    layout->addStretch(1);
}

} // namespace vantor::ui
