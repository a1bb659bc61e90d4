#include "widgets/StatusCounts.h"

#include "Theme.h"

#include <QGridLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace vantor::ui {

StatusCounts::StatusCounts(const QString &prefix, int columns, QWidget *parent) : QWidget(parent)
{
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(Theme::space(3));
    grid->setVerticalSpacing(Theme::space(2));
    for (std::size_t i = 0; i < JobStatus::allCases.size(); ++i) {
        const JobStatus status = JobStatus::allCases[i];
        auto *cell = new QWidget(this);
        auto *stack = new QVBoxLayout(cell);
        stack->setContentsMargins(0, 0, 0, 0);
        stack->setSpacing(0);
        auto *figure = new QLabel(QStringLiteral("0"), cell);
        QFont big = font();
        big.setPointSizeF(big.pointSizeF() * 1.3);
        big.setWeight(QFont::DemiBold);
        figure->setFont(big);
        auto *label = new QLabel(status.rawValue(), cell);
        label->setFont(Theme::captionFont());
        QPalette colours = label->palette();
        colours.setColor(QPalette::WindowText, Theme::statusColour(status));
        label->setPalette(colours);
        const QString name = prefix + u'-' + status.rawValue().toLower();
        figure->setObjectName(name);
        cell->setAccessibleName(status.rawValue());
        stack->addWidget(figure);
        stack->addWidget(label);
        grid->addWidget(cell, int(i) / columns, int(i) % columns);
        m_figures[i] = figure;
    }
}

void StatusCounts::update(const std::vector<MediaJob> &jobs)
{
    std::array<qint64, JobStatus::allCases.size()> counts{};
    for (const MediaJob &job : jobs)
        ++counts[job.status.value];
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] != m_counts[i] || m_figures[i]->text().isEmpty())
            m_figures[i]->setText(QString::number(counts[i]));
    }
    m_counts = counts;
}

} // namespace vantor::ui
