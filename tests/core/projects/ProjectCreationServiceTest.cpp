#include "base/FileIo.h"
#include "base/JsonCodec.h"
#include "base/VantorError.h"
#include "projects/ProjectCreationService.h"

#include "TempDir.h"

#include <QFile>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

ProjectTemplate makeTemplate(const QStringList &folders)
{
    return ProjectTemplate{QUuid::createUuid(), QStringLiteral("Shoot"), folders};
}

// The message of the VantorError (or system error) that `call` throws.
template <typename Call> QString messageOf(Call call)
{
    try {
        call();
    } catch (const VantorError &error) {
        return error.message();
    } catch (const std::system_error &error) {
        return QString::fromLocal8Bit(error.what());
    }
    return QStringLiteral("<no error>");
}

QString unsafe(const QString &name) { return "\u201C" + name + "\u201D is not a safe file or folder name."; }

const QString duplicates = "The template contains duplicate folder paths.";
const QString slashes = "Use relative folder paths, without a leading or trailing slash.";

QString existing(const QString &name)
{
    return "A project named \u201C" + name + "\u201D already exists. Use Open Project or choose another name.";
}

TEST(ProjectCreationService, CreatesTheExpandedTreeWithItsMarker)
{
    TempDir parent;
    const auto entry = makeTemplate({"{DATE}", "{CLIENT}/BRIEF", "{PROJECT}_EXPORTS/{DATE}"});
    const ProjectContext context = ProjectCreationService::create("  Doc \t", "Acme", "2026-03-01", parent.path(), entry);
    EXPECT_EQ(context, (ProjectContext{"Doc", "Acme", "2026-03-01", parent.path() + "/Doc"}));
    EXPECT_EQ(listTree(parent.path()), QStringList({"Doc/", "Doc/2026-03-01/", "Doc/Acme/", "Doc/Acme/BRIEF/",
                                                    "Doc/Doc_EXPORTS/", "Doc/Doc_EXPORTS/2026-03-01/",
                                                    "Doc/Project.vantor"}));
    const QByteArray marker = readFile(parent.file("Doc/Project.vantor"));
    EXPECT_FALSE(marker.contains('\n'));
    EXPECT_TRUE(marker.contains("\"root\":\"file:\\/\\/\\/")) << marker.constData();
    EXPECT_EQ(ProjectContext::fromJson(JsonCodec::parse(marker)), context);
}

struct RefusalCase {
    const char *label;
    QString name;
    QStringList folders;
    const char *parentKind; // "real", "link", "file", "readOnly", "missing"
    QString expected;       // "%1" stands for the parent's path
};

class CreationRefusals : public testing::TestWithParam<RefusalCase> {};

// The real parent already holds the project "Taken" and a plain file "Notes"; neither is touched.
TEST_P(CreationRefusals, SayWhyAndCreateNothing)
{
    const RefusalCase &c = GetParam();
    TempDir top;
    const QString real = top.makeDir("real");
    top.write("real/Taken/Project.vantor", "{}");
    top.write("real/Notes", "x");
    const QString kind = QString::fromLatin1(c.parentKind);
    const QString parent = kind == "real" || kind == "readOnly" ? real : top.file(kind);
    if (kind == "link")
        QFile::link(real, parent);
    else if (kind == "file")
        top.write("file", "x");
    else if (kind == "readOnly")
        QFile::setPermissions(real, QFile::ReadOwner | QFile::ExeOwner);
    const QStringList before = listTree(top.path());
    EXPECT_EQ(messageOf([&] { ProjectCreationService::create(c.name, "", "2026-03-01", parent, makeTemplate(c.folders)); }),
              QString(c.expected).replace("%1", parent));
    EXPECT_EQ(listTree(top.path()), before);
    EXPECT_EQ(readFile(top.file("real/Taken/Project.vantor")), "{}");
}

// Template paths are refused before anything is made, with the first fault found.
INSTANTIATE_TEST_SUITE_P(
    Cases, CreationRefusals,
    testing::Values(RefusalCase{"blankName", " ", {"A"}, "real", unsafe(" ")},
                    RefusalCase{"reservedName", ".vantor-project-X", {"A"}, "real", unsafe(".vantor-project-X")},
                    RefusalCase{"existingProject", " Taken", {"C"}, "real", existing("Taken")},
                    RefusalCase{"existingFile", "Notes", {"C"}, "real", existing("Notes")},
                    RefusalCase{"linkParent", "Doc", {"A"}, "link", "Select an available, real destination folder: %1"},
                    RefusalCase{"fileParent", "Doc", {"A"}, "file", "Select an available, real destination folder: %1"},
                    RefusalCase{"readOnlyParent", "Doc", {"A"}, "readOnly", "The destination is read-only: %1"},
                    RefusalCase{"missingParent", "Doc", {"A"}, "missing", "%1: No such file or directory"},
                    RefusalCase{"noFolders", "Doc", {}, "real", "Add at least one folder to the template."},
                    RefusalCase{"sameFolderTwice", "Doc", {"03_AUDIO", " 03_audio "}, "real", duplicates},
                    RefusalCase{"expandsToTheSame", "Doc", {"{PROJECT}", "Doc"}, "real", duplicates},
                    RefusalCase{"absolute", "Doc", {"ok", "/abs"}, "real", slashes},
                    RefusalCase{"trailingSlash", "Doc", {"A/"}, "real", slashes},
                    RefusalCase{"unknownToken", "Doc", {"A", "B/{TAKE}{X}"}, "real", "Unknown naming token in \u201C{TAKE}{X}\u201D."},
                    RefusalCase{"emptyToken", "Doc", {"A", "{CLIENT}"}, "real", unsafe("{CLIENT}")},
                    RefusalCase{"climbing", "Doc", {"A/../../B"}, "real", unsafe("..")}),
    [](const testing::TestParamInfo<RefusalCase> &info) { return info.param.label; });

TEST(ProjectCreationService, AFailingFileOperationLeavesNoFolderBehind)
{
    // Fail each mutating operation in turn until creation gets through untouched.
    for (long failAt = 1;; ++failAt) {
        ASSERT_LT(failAt, 200) << "creation never completed";
        TempDir parent;
        FileIo::Faults::set({.failAt = failAt, .error = EIO});
        try {
            ProjectCreationService::create("Doc", "", "2026-03-01", parent.path(), makeTemplate({"A/B/C", "A/D", "E"}));
            FileIo::Faults::clear();
            EXPECT_EQ(listTree(parent.path()), QStringList({"Doc/", "Doc/A/", "Doc/A/B/", "Doc/A/B/C/", "Doc/A/D/",
                                                            "Doc/E/", "Doc/Project.vantor"}));
            EXPECT_GT(failAt, 10);
            break;
        } catch (const std::system_error &error) {
            EXPECT_EQ(error.code().value(), EIO) << failAt;
        } catch (const VantorError &error) {
            // The publish step reports its own sentence around the system's text.
            EXPECT_TRUE(error.message().startsWith("Could not commit Doc: ")) << error.message().toStdString();
        }
        FileIo::Faults::clear();
        EXPECT_EQ(listTree(parent.path()), QStringList()) << "after a failure at operation " << failAt;
    }
}

} // namespace
