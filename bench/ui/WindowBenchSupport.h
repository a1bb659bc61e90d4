#pragma once

// What the window's benchmarks share: a user who answers no dialog, and a watch for a widget's
// next paint.

#include "workspace/UserChoices.h"

#include <QEvent>
#include <QObject>

namespace bench {

struct NoChoices : vantor::UserChoices {
    std::optional<QString> chooseFolder(const QString &) override { return std::nullopt; }
    QStringList chooseFiles(const QString &) override { return {}; }
    bool confirm(const QString &, const QString &) override { return false; }
};

// Sets `painted` when the watched widget paints; install it with installEventFilter.
struct PaintWatcher : QObject {
    bool *painted = nullptr;
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            *painted = true;
        return false;
    }
};

} // namespace bench
