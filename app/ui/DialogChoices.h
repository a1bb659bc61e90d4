#pragma once

#include "workspace/UserChoices.h"

class QWidget;

namespace vantor::ui {

// The workspace's questions answered with the desktop's file dialogs and message boxes.
class DialogChoices : public UserChoices {
public:
    explicit DialogChoices(QWidget *parent = nullptr) : m_parent(parent) {}
    void setParent(QWidget *parent) { m_parent = parent; }

    std::optional<QString> chooseFolder(const QString &title) override;
    QStringList chooseFiles(const QString &title) override;
    bool confirm(const QString &title, const QString &message) override;

private:
    QWidget *m_parent;
};

} // namespace vantor::ui
