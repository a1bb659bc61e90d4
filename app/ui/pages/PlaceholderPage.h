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
    // `holds`: what the page will hold; `meanwhile`: the command that does its work today.
    PlaceholderPage(const QString &eyebrow, const QString &title, const QString &promise, const QString &holds,
                    const QString &meanwhile, QWidget *parent = nullptr);
};

} // namespace vantor::ui
