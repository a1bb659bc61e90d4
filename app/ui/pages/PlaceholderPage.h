#pragma once

#include <QWidget>

namespace vantor {
class Workspace;
}

namespace vantor::ui {

// A page that is not built yet: its heading and what it will hold.
class PlaceholderPage : public QWidget {
    Q_OBJECT
public:
    PlaceholderPage(const QString &eyebrow, const QString &title, const QString &promise, QWidget *parent = nullptr);
};

} // namespace vantor::ui
