#include "model/VantorError.h"
#include "projects/ProjectTemplateService.h"

#include <QJsonArray>

#include <gtest/gtest.h>

using namespace vantor;

namespace {

template <typename Call> QString messageOf(Call call)
{
    try {
        call();
    } catch (const VantorError &error) {
        return error.message();
    }
    return QStringLiteral("<no error>");
}

ProjectTemplate makeTemplate(const QString &name, const QStringList &folders)
{
    return ProjectTemplate{QUuid::createUuid(), name, folders};
}

TEST(ProjectTemplateService, DefaultsAreTheSevenBuiltInsWithFreshIds)
{
    const auto first = ProjectTemplateService::defaults();
    const auto second = ProjectTemplateService::defaults();
    QStringList names;
    for (const auto &entry : first)
        names << entry.name;
    EXPECT_EQ(names, QStringList({"Narrative film", "Commercial", "Documentary", "Music video", "Corporate",
                                  "DIT / offload", "Post handoff"}));
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].name, second[i].name);
        EXPECT_EQ(first[i].folders, second[i].folders);
        EXPECT_NE(first[i].id, second[i].id);
    }
    EXPECT_EQ(first[0].folders.size(), 12);
    EXPECT_EQ(first[1].folders.mid(12), QStringList({"01_PROJECT FILES/BRIEF", "09_DELIVERABLES/SOCIAL"}));
    EXPECT_EQ(first[5].folders, QStringList({"01_REPORTS", "02_FOOTAGE/ORIGINALS", "02_FOOTAGE/PROXIES", "03_AUDIO",
                                             "04_DAILIES", "05_HANDOFF"}));
    EXPECT_EQ(first[6].folders.at(3), "03_AUDIO/AAF");
}

TEST(ProjectTemplateService, EveryBuiltInValidatesUnchanged)
{
    // "DIT / offload" holds a slash: a display name, checked like a file name, would be refused.
    for (const auto &entry : ProjectTemplateService::defaults()) {
        if (entry.name.contains('/'))
            continue;
        EXPECT_EQ(ProjectTemplateService::validate(entry, {}), entry.folders) << entry.name.toStdString();
    }
}

TEST(ProjectTemplateService, ValidateExpandsInOrder)
{
    const auto entry = makeTemplate("Shoot", {"{DATE}", "{CLIENT}/BRIEF", "02_FOOTAGE", "02_FOOTAGE/ORIGINALS"});
    EXPECT_EQ(ProjectTemplateService::validate(entry, {{"CLIENT", "Acme"}, {"DATE", "2026-03-01"}}),
              QStringList({"2026-03-01", "Acme/BRIEF", "02_FOOTAGE", "02_FOOTAGE/ORIGINALS"}));
}

TEST(ProjectTemplateService, ValidateRefusesInItsOrder)
{
    const QString noFolders = QStringLiteral("Add at least one folder to the template.");
    const QString duplicates = QStringLiteral("The template contains duplicate folder paths.");
    // The name is checked before the folder list, and an empty list before any path.
    EXPECT_EQ(messageOf([&] { ProjectTemplateService::validate(makeTemplate("a:b", {}), {}); }),
              QStringLiteral("\u201Ca:b\u201D is not a safe file or folder name."));
    EXPECT_EQ(messageOf([&] { ProjectTemplateService::validate(makeTemplate("T", {}), {}); }), noFolders);
    EXPECT_EQ(messageOf([&] { ProjectTemplateService::validate(makeTemplate("T", {"03_AUDIO", "03_audio"}), {}); }),
              duplicates);
    EXPECT_EQ(messageOf([&] { ProjectTemplateService::validate(makeTemplate("T", {"A", " a "}), {}); }), duplicates);
    // Duplicates after expansion count too.
    EXPECT_EQ(messageOf([&] {
                  ProjectTemplateService::validate(makeTemplate("T", {"{PROJECT}", "Doc"}), {{"PROJECT", "Doc"}});
              }),
              duplicates);
    EXPECT_EQ(messageOf([&] { ProjectTemplateService::validate(makeTemplate("T", {"ok", "/abs"}), {}); }),
              QStringLiteral("Use relative folder paths, without a leading or trailing slash."));
    EXPECT_EQ(messageOf([&] { ProjectTemplateService::validate(makeTemplate("T", {"{FOO}/x"}), {}); }),
              QStringLiteral("Unknown naming token in \u201C{FOO}\u201D."));
}

TEST(ProjectTemplate, JsonIsStrict)
{
    const auto entry = makeTemplate("Shoot", {"A", "B/C"});
    EXPECT_EQ(ProjectTemplate::fromJson(entry.toJson()), entry);
    for (const char *key : {"id", "name", "folders"}) {
        QJsonObject missing = entry.toJson();
        missing.remove(QLatin1String(key));
        EXPECT_THROW(ProjectTemplate::fromJson(missing), DecodingError) << key;
    }
    QJsonObject wrong = entry.toJson();
    wrong.insert("folders", QJsonArray({"A", 3}));
    EXPECT_THROW(ProjectTemplate::fromJson(wrong), DecodingError);
}

} // namespace
