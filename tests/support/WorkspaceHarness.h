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
class ScriptedUserChoices : public UserChoices {
public:
    QStringList folders;
    QStringList files;
    bool confirmation = true;
    QStringList asked;

    std::optional<QString> chooseFolder(const QString &title) override
    {
        asked << title;
        if (folders.isEmpty())
            return std::nullopt;
        return folders.takeFirst();
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

// Phases that do no file work and complete at once.
inline JobPhases instantPhases()
{
    return [](const MediaJob &, JobControl &, const QString &, const JobPhaseCallbacks &) { return JobPhaseResult{}; };
}

// A workspace on a private support folder, with the user defaults kept in a private folder too.
class WorkspaceHarness {
public:
    TempDir support;
    TempDir settings;
    ScriptedUserChoices choices;

    WorkspaceHarness()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, settings.path());
    }
    static QSettings defaults() { return QSettings(QStringLiteral("Vantor"), QStringLiteral("Vantor")); }

    Workspace &open(JobPhases phases = instantPhases())
    {
        workspace.reset();
        workspace = std::make_unique<Workspace>(support.path(), std::move(phases), &choices);
        return *workspace;
    }
    // Waits until a scan or project creation has been applied.
    bool settle()
    {
        if (!workspace->scanning())
            return true;
        QSignalSpy spy(workspace.get(), &Workspace::scanningChanged);
        return spy.wait(10000) && !workspace->scanning();
    }

    std::unique_ptr<Workspace> workspace;
};

} // namespace vantor::test
