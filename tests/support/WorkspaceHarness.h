#pragma once

#include "TempDir.h"
#include "queue/JobPhases.h"
#include "queue/QueueService.h"
#include "workspace/UserChoices.h"
#include "workspace/Workspace.h"

#include <QSettings>
#include <QSignalSpy>
#include <memory>

namespace vantor::test {

// Answers the workspace's dialogs from lists the test fills, and records what was asked.
struct ScriptedUserChoices : UserChoices {
    QStringList folders, files, asked;
    bool confirmation = true;

    std::optional<QString> chooseFolder(const QString &title) override
    {
        asked << title;
        return folders.isEmpty() ? std::nullopt : std::optional(folders.takeFirst());
    }
    QStringList chooseFiles(const QString &title) override
    {
        asked << title;
        return std::exchange(files, {});
    }
    bool confirm(const QString &title, const QString &) override
    {
        asked << title;
        return confirmation;
    }
};

// A workspace on a private support folder whose phases do no file work, with private user defaults.
struct WorkspaceHarness {
    TempDir support, settings;
    ScriptedUserChoices choices;
    std::unique_ptr<Workspace> workspace;

    WorkspaceHarness()
    {
        for (const QSettings::Format format : {QSettings::NativeFormat, QSettings::IniFormat})
            QSettings::setPath(format, QSettings::UserScope, settings.path());
    }
    static QSettings defaults() { return QSettings(QStringLiteral("Vantor"), QStringLiteral("Vantor")); }
    Workspace &open()
    {
        const JobPhases none = [](const MediaJob &, JobControl &, const QString &, const JobPhaseCallbacks &) {
            return JobPhaseResult{};
        };
        workspace.reset();
        workspace = std::make_unique<Workspace>(support.path(), none, &choices);
        return *workspace;
    }
    // Waits until a scan or project creation has been applied.
    bool settle()
    {
        QSignalSpy spy(workspace.get(), &Workspace::scanningChanged);
        return !workspace->scanning() || (spy.wait(10000) && !workspace->scanning());
    }
};

} // namespace vantor::test
