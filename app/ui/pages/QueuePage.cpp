#include "pages/QueuePage.h"

#include "Theme.h"
#include "widgets/WorkspaceHeader.h"
#include "workspace/Workspace.h"

#include <QVBoxLayout>

namespace vantor::ui {

QueuePage::QueuePage(Workspace &workspace, QWidget *parent) : QWidget(parent), m_workspace(workspace)
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(new WorkspaceHeader(tr("04 / Operations"), tr("Queue"),
                                          tr("One durable queue. Every file accounted for."), this));
    layout->addStretch(1);
}

} // namespace vantor::ui
