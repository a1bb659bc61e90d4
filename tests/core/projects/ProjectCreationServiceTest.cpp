#include "projects/ProjectCreationService.h"

#include "TempDir.h"
#include "model/FileIo.h"
#include "model/JsonCodec.h"
#include "model/VantorError.h"
#include "projects/ProjectTemplateService.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

using namespace vantor;
using vantor::test::listTree;
using vantor::test::readFile;
using vantor::test::TempDir;

namespace {

ProjectTemplate makeTemplate(const QStringList &folders)
{
    return ProjectTemplate { QUuid::createUuid(), QStringLiteral("Shoot"), folders };
}

template <typename Call> QString messageOf(Call call)
{
    try {
        call();
    } catch (const VantorError &error) {
        return error.message();
    }
    return QStringLiteral("<no error>");
}

TEST(ProjectCreationService, CreatesTheWholeTreeWithItsMarker)
{
    TempDir parent;
    const auto commercial = ProjectTemplateService::defaults().at(1);
    const ProjectContext context = ProjectCreationService::create(QStringLiteral("  Doc \t"),
        QStringLiteral("Acme"), QStringLiteral("2026-03-01"), parent.path(), commercial);
    EXPECT_EQ(context, (ProjectContext { "Doc", "Acme", "2026-03-01", parent.path() + "/Doc" }));

    QStringList expected { "Doc/", "Doc/Project.vantor" };
    for (const QString &folder : commercial.folders)
        expected << "Doc/" + folder + "/";
    expected.sort();
    EXPECT_EQ(listTree(parent.path()), expected);

    const QByteArray marker = readFile(parent.file("Doc/Project.vantor"));
    EXPECT_FALSE(marker.contains('\n'));
    EXPECT_TRUE(marker.contains("\"root\":\"file:\\/\\/\\/")) << marker.constData();
    EXPECT_EQ(ProjectContext::fromJson(JsonCodec::parse(marker)), context);
}

TEST(ProjectCreationService, ExpandsTheProjectTokens)
{
    TempDir parent;
    const auto entry = makeTemplate({ "{DATE}", "{CLIENT}/BRIEF", "{PROJECT}_EXPORTS/{DATE}" });
    ProjectCreationService::create("Doc", "Acme", "2026-03-01", parent.path(), entry);
    EXPECT_EQ(listTree(parent.file("Doc")),
        QStringList({ "2026-03-01/", "Acme/", "Acme/BRIEF/", "Doc_EXPORTS/", "Doc_EXPORTS/2026-03-01/",
            "Project.vantor" }));
    EXPECT_EQ(
        messageOf([&] { ProjectCreationService::create("Doc2", "", "2026-03-01", parent.path(), entry); }),
        QStringLiteral("\u201C{CLIENT}\u201D is not a safe file or folder name."));
    EXPECT_FALSE(QFile::exists(parent.file("Doc2")));
}

TEST(ProjectCreationService, NeverTouchesAnExistingProject)
{
    TempDir parent;
    const auto entry = makeTemplate({ "A", "B" });
    ProjectCreationService::create("Doc", "", "2026-03-01", parent.path(), entry);
    const QByteArray marker = readFile(parent.file("Doc/Project.vantor"));
    const QStringList before = listTree(parent.path());
    EXPECT_EQ(messageOf([&] {
        ProjectCreationService::create(" Doc", "Other", "2027-01-01", parent.path(), makeTemplate({ "C" }));
    }),
        QStringLiteral(
            "A project named \u201CDoc\u201D already exists. Use Open Project or choose another name."));
    // A plain file of that name is just as much in the way.
    parent.write("Notes", "x");
    EXPECT_EQ(messageOf([&] { ProjectCreationService::create("Notes", "", "d", parent.path(), entry); }),
        QStringLiteral(
            "A project named \u201CNotes\u201D already exists. Use Open Project or choose another name."));
    EXPECT_EQ(listTree(parent.path()), before + QStringList { "Notes" });
    EXPECT_EQ(readFile(parent.file("Doc/Project.vantor")), marker);
}

struct RefusalCase {
    const char *label;
    QString name;
    QStringList folders;
    const char *parentKind; // "folder", "link", "file", "readOnly", "missing"
    QString expected; // "%1" stands for the parent's path
};

class CreationRefusals : public testing::TestWithParam<RefusalCase> { };

TEST_P(CreationRefusals, SayWhyAndCreateNothing)
{
    const RefusalCase &c = GetParam();
    TempDir top;
    const QString real = top.makeDir("real");
    QString parent = real;
    const QString kind = QString::fromLatin1(c.parentKind);
    if (kind == "link") {
        parent = top.file("link");
        ASSERT_TRUE(QFile::link(real, parent));
    } else if (kind == "file") {
        parent = top.write("file", "x");
    } else if (kind == "readOnly") {
        ASSERT_TRUE(QFile::setPermissions(real, QFile::ReadOwner | QFile::ExeOwner));
    } else if (kind == "missing") {
        parent = top.file("missing");
    }
    const QStringList before = listTree(top.path());
    const QString expected = QString(c.expected).replace("%1", parent);
    try {
        ProjectCreationService::create(c.name, "Acme", "2026-03-01", parent, makeTemplate(c.folders));
        ADD_FAILURE() << "created a project";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), expected);
    } catch (const std::system_error &error) {
        EXPECT_EQ(QString::fromLocal8Bit(error.what()), expected);
    }
    EXPECT_EQ(listTree(top.path()), before);
}

QString unsafe(const char *name)
{
    return QStringLiteral("\u201C") + name + QStringLiteral("\u201D is not a safe file or folder name.");
}

INSTANTIATE_TEST_SUITE_P(Cases, CreationRefusals,
    testing::Values(RefusalCase { "emptyName", " ", { "A" }, "folder", unsafe(" ") },
        RefusalCase { "reservedName", ".vantor-project-X", { "A" }, "folder", unsafe(".vantor-project-X") },
        RefusalCase { "colonName", "Doc:1", { "A" }, "folder", unsafe("Doc:1") },
        RefusalCase {
            "linkParent", "Doc", { "A" }, "link", "Select an available, real destination folder: %1" },
        RefusalCase {
            "fileParent", "Doc", { "A" }, "file", "Select an available, real destination folder: %1" },
        RefusalCase { "readOnlyParent", "Doc", { "A" }, "readOnly", "The destination is read-only: %1" },
        RefusalCase { "missingParent", "Doc", { "A" }, "missing", "No such file or directory" },
        RefusalCase { "noFolders", "Doc", {}, "folder", "Add at least one folder to the template." },
        RefusalCase { "duplicates", "Doc", { "03_AUDIO", "04", "03_audio" }, "folder",
            "The template contains duplicate folder paths." },
        RefusalCase { "unknownToken", "Doc", { "A", "B/{TAKE}{X}" }, "folder",
            "Unknown naming token in \u201C{TAKE}{X}\u201D." },
        RefusalCase { "leadingSlash", "Doc", { "/A" }, "folder",
            "Use relative folder paths, without a leading or trailing slash." },
        RefusalCase { "trailingSlash", "Doc", { "A/" }, "folder",
            "Use relative folder paths, without a leading or trailing slash." },
        RefusalCase { "climbing", "Doc", { "A/../../B" }, "folder", unsafe("..") }),
    [](const testing::TestParamInfo<RefusalCase> &info) { return info.param.label; });

TEST(ProjectCreationService, AFailingFileOperationLeavesNoFolderBehind)
{
    ASSERT_TRUE(FileIo::Faults::available());
    const auto entry = makeTemplate({ "A/B/C", "A/D", "E" });
    // Fail each mutating operation in turn until creation gets through untouched.
    for (long failAt = 1;; ++failAt) {
        ASSERT_LT(failAt, 200) << "creation never completed";
        TempDir parent;
        FileIo::Faults::set({ .failAt = failAt, .error = EIO });
        try {
            ProjectCreationService::create("Doc", "", "2026-03-01", parent.path(), entry);
            FileIo::Faults::clear();
            EXPECT_EQ(listTree(parent.path()),
                QStringList({ "Doc/", "Doc/A/", "Doc/A/B/", "Doc/A/B/C/", "Doc/A/D/", "Doc/E/",
                    "Doc/Project.vantor" }));
            EXPECT_GT(failAt, 10);
            break;
        } catch (const std::system_error &error) {
            FileIo::Faults::clear();
            EXPECT_EQ(error.code().value(), EIO) << failAt;
        } catch (const VantorError &error) {
            // The publish step reports its own sentence around the system's text.
            FileIo::Faults::clear();
            EXPECT_TRUE(error.message().startsWith("Could not commit Doc: "))
                << error.message().toStdString();
        }
        EXPECT_EQ(listTree(parent.path()), QStringList()) << "after a failure at operation " << failAt;
    }
}

} // namespace
