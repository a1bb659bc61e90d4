#pragma once

#include "workspace/UserChoices.h"

#include <QStringList>

namespace vantor::cli {

// The answers a command gives to the workspace's dialogs: folders from the command line, in
// the order asked, and one fixed answer to every confirmation.
class ScriptedChoices : public UserChoices {
public:
    QStringList folders;
    bool confirmation = false;

    std::optional<QString> chooseFolder(const QString &) override
    {
        if (folders.isEmpty())
            return std::nullopt;
        return folders.takeFirst();
    }
    QStringList chooseFiles(const QString &) override { return {}; }
    bool confirm(const QString &, const QString &) override { return confirmation; }
};

} // namespace vantor::cli
