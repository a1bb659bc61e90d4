#pragma once

#include <QString>
#include <QStringList>
#include <optional>

namespace vantor {

// The questions an action may put to the user. The window answers them with dialogs, the
// command line and the tests answer them directly, so no action needs a window.
class UserChoices {
public:
    virtual ~UserChoices() = default;
    // One folder, or nothing when the user cancels.
    virtual std::optional<QString> chooseFolder(const QString &title) = 0;
    // Files and folders (several allowed); empty when the user cancels.
    virtual QStringList chooseFiles(const QString &title) = 0;
    virtual bool confirm(const QString &title, const QString &message) = 0;
};

} // namespace vantor
