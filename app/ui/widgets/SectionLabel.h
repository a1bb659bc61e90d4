#pragma once

#include <QLabel>

namespace vantor::ui {

// A small upper-case caption over a section.
class SectionLabel : public QLabel {
    Q_OBJECT
public:
    explicit SectionLabel(const QString &text, QWidget *parent = nullptr);
};

} // namespace vantor::ui
