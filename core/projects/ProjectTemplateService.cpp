#include "projects/ProjectTemplateService.h"

#include "base/VantorError.h"

#include <QSet>

namespace vantor::ProjectTemplateService {

std::vector<ProjectTemplate> defaults()
{
    const QStringList common {
        QStringLiteral("01_PROJECT FILES"),
        QStringLiteral("02_FOOTAGE"),
        QStringLiteral("02_FOOTAGE/ORIGINALS"),
        QStringLiteral("02_FOOTAGE/PROXIES"),
        QStringLiteral("03_AUDIO"),
        QStringLiteral("04_GFX"),
        QStringLiteral("05_VFX"),
        QStringLiteral("06_MUSIC"),
        QStringLiteral("07_STILLS"),
        QStringLiteral("08_EXPORTS"),
        QStringLiteral("09_DELIVERABLES"),
        QStringLiteral("10_ARCHIVE"),
    };
    const auto make = [](const char *name, const QStringList &folders) {
        return ProjectTemplate { QUuid::createUuid(), QString::fromUtf8(name), folders };
    };
    return {
        make("Narrative film", common),
        make("Commercial",
            common
                + QStringList { QStringLiteral("01_PROJECT FILES/BRIEF"),
                    QStringLiteral("09_DELIVERABLES/SOCIAL") }),
        make("Documentary",
            common
                + QStringList { QStringLiteral("03_AUDIO/INTERVIEWS"),
                    QStringLiteral("10_ARCHIVE/RESEARCH") }),
        make("Music video",
            common + QStringList { QStringLiteral("06_MUSIC/PLAYBACK"), QStringLiteral("06_MUSIC/STEMS") }),
        make("Corporate",
            common
                + QStringList { QStringLiteral("01_PROJECT FILES/CLIENT"),
                    QStringLiteral("09_DELIVERABLES/CAPTIONS") }),
        make("DIT / offload",
            { QStringLiteral("01_REPORTS"), QStringLiteral("02_FOOTAGE/ORIGINALS"),
                QStringLiteral("02_FOOTAGE/PROXIES"), QStringLiteral("03_AUDIO"),
                QStringLiteral("04_DAILIES"), QStringLiteral("05_HANDOFF") }),
        make("Post handoff",
            { QStringLiteral("01_PROJECT FILES"), QStringLiteral("02_FOOTAGE/ORIGINALS"),
                QStringLiteral("02_FOOTAGE/PROXIES"), QStringLiteral("03_AUDIO/AAF"),
                QStringLiteral("04_GFX"), QStringLiteral("05_VFX"), QStringLiteral("06_MUSIC"),
                QStringLiteral("08_EXPORTS"), QStringLiteral("09_DELIVERABLES") }),
    };
}

namespace {

void checkLabel(const QString &name)
{
    // A template's name is a label shown in lists, never a path: "DIT / offload" is fine.
    if (name.trimmed().isEmpty())
        throw VantorError(QStringLiteral("Give the template a name."));
    for (const QChar character : name) {
        if (character.category() == QChar::Other_Control)
            throw VantorError(QStringLiteral("A template name cannot hold control characters such as tabs or line breaks."));
    }
}

} // namespace

QStringList validate(const ProjectTemplate &projectTemplate, const NamingValues &values)
{
    checkLabel(projectTemplate.name);
    if (projectTemplate.folders.isEmpty())
        throw VantorError(QStringLiteral("Add at least one folder to the template."));
    QStringList paths;
    for (const QString &folder : projectTemplate.folders)
        paths << NamingService::relativePath(folder, values);
    // Case-insensitive file systems would merge these; refuse them on every system alike.
    QSet<QString> seen;
    for (const QString &path : paths) {
        const QString key = path.toLower();
        if (seen.contains(key))
            throw VantorError(QStringLiteral("The template contains duplicate folder paths."));
        seen.insert(key);
    }
    return paths;
}

} // namespace vantor::ProjectTemplateService
