#include "WorkspaceHarness.h"

#include "state/StateStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class WorkspaceTest : public ::testing::Test {
public:
    WorkspaceHarness harness;
    TempDir media;
    Workspace &ws = harness.open();

    // A project folder opened as the Import page would.
    QString openProject(const QString &name = QStringLiteral("Doc"))
    {
        const QString root = media.makeDir(QStringLiteral("projects/") + name);
        harness.choices.folders << root;
        ws.openProject();
        return root;
    }
    void receive(const QStringList &paths)
    {
        ws.receive(paths);
        ASSERT_TRUE(harness.settle());
    }
    QString card() // scanned as C0001.MXF, C0001.XML, C0002.MXF
    {
        media.write(QStringLiteral("A001/CLIP/C0001.MXF"), "one");
        media.write(QStringLiteral("A001/CLIP/C0002.MXF"), "two");
        media.write(QStringLiteral("A001/CLIP/C0001.XML"), "<xml/>");
        return media.file(QStringLiteral("A001"));
    }
    QString chooseOutput()
    {
        harness.choices.folders << media.makeDir(QStringLiteral("out"));
        ws.chooseTranscodeDestination();
        return media.file(QStringLiteral("out"));
    }
    void chooseLocation() // the media folder, for a project named Doc
    {
        harness.choices.folders << media.path();
        ws.chooseLocation();
        ws.setName(QStringLiteral("Doc"));
    }
    const std::vector<MediaJob> &jobs() { return ws.queue().state().jobs; }
    // Everything a refusal must leave as it was.
    QStringList snapshot()
    {
        QStringList all{QString::fromUtf8(QJsonDocument(ws.queue().state().toJson()).toJson()), ws.notice(),
                        QString::number(int(ws.page())), QString::number(ws.queue().running())};
        all << ws.backupFolders();
        for (const SourceFile &source : ws.sources())
            all << source.url;
        return all;
    }
};

using Step = void (*)(WorkspaceTest &);
struct Refusal {
    const char *name;
    Step arrange, act;
    QString message;
};
void PrintTo(const Refusal &refusal, std::ostream *out) { *out << refusal.name; }
class WorkspaceRefusal : public WorkspaceTest, public ::testing::WithParamInterface<Refusal> {};

void none(WorkspaceTest &) {}
void enqueue(WorkspaceTest &t) { t.ws.enqueue(); }
void transcode(WorkspaceTest &t) { t.ws.enqueueTranscodes(true); }
void create(WorkspaceTest &t) { t.ws.createProject(); EXPECT_TRUE(t.harness.settle()); }
// Adds the folder `relative` of the media folder as a backup destination.
void backup(WorkspaceTest &t, const char *relative) { t.ws.addBackupFolder(t.media.file(QLatin1String(relative))); }
void addShuttle(WorkspaceTest &t) { backup(t, "shuttle"); }
void shuttle(WorkspaceTest &t) { t.media.makeDir("shuttle"); addShuttle(t); }

} // namespace

TEST_P(WorkspaceRefusal, SetsTheMessageAndChangesNothingElse)
{
    GetParam().arrange(*this);
    const QStringList before = snapshot();
    GetParam().act(*this);
    EXPECT_EQ(ws.error(), QString(GetParam().message).replace(QStringLiteral("%1"), media.path()));
    EXPECT_EQ(snapshot(), before);
}

INSTANTIATE_TEST_SUITE_P(
    All, WorkspaceRefusal,
    ::testing::Values(
        Refusal{"NoProject", [](auto &t) { t.receive({t.card()}); }, enqueue, "Create or open a project first."},
        Refusal{"NoSources", [](auto &t) { t.openProject(); }, enqueue, "Add source media first."},
        Refusal{"AbsoluteFolder", [](auto &t) { t.openProject(); t.receive({t.card()}); t.ws.setCopyFolder("/02_FOOTAGE"); },
                enqueue, "Use relative folder paths, without a leading or trailing slash."},
        // The twentieth already sits where its copy would go: the nineteen before it are not queued either.
        Refusal{"TwentiethSourceCollides",
                [](auto &t) {
                    QStringList files;
                    for (int i = 1; i <= 19; ++i)
                        files << t.media.write(QStringLiteral("card/clip%1.wav").arg(i), "a");
                    t.openProject();
                    t.receive(files << t.media.write(QStringLiteral("projects/Doc/02_FOOTAGE/ORIGINALS/clip20.wav"), "a"));
                    t.ws.setHierarchy(false);
                },
                enqueue, "Source and destination are the same. Choose another folder."},
        Refusal{"LinkInAScannedFolder",
                [](auto &t) { t.receive({t.media.write("a.mov", "a")}); QFile::link(t.media.file("a.mov"), t.media.makeDir("bad") + "/l.mov"); },
                [](auto &t) { t.receive({t.media.file("bad")}); },
                "A symbolic link was found in the source. Remove it from the selection: %1/bad/l.mov"},
        Refusal{"NoOutputFolder", none, transcode, "Choose an output folder."},
        Refusal{"NoVideoSources", [](auto &t) { t.chooseOutput(); t.receive({t.media.write("n.txt", "n")}); }, transcode,
                "Open video sources first."},
        Refusal{"OutputReplacesASource",
                [](auto &t) {
                    TranscodePreset same = t.ws.preset();
                    same.suffix.clear();
                    same.container = QStringLiteral("mov");
                    t.ws.setPreset(same);
                    t.chooseOutput();
                    t.receive({t.media.write(QStringLiteral("a.mov"), "v"), t.media.write(QStringLiteral("out/b.mov"), "v")});
                },
                transcode, "The output would replace a source. Choose another suffix or folder."},
        Refusal{"NoLocation", none, create, "Choose a project location."},
        Refusal{"UnknownTemplate", [](auto &t) { t.chooseLocation(); t.ws.setTemplateID(QUuid::createUuid()); }, create, "Choose a template."},
        Refusal{"ProjectExists", [](auto &t) { t.chooseLocation(); t.media.makeDir("Doc"); }, create,
                "A project named \u201CDoc\u201D already exists. Use Open Project or choose another name."},
        Refusal{"UnreadableProjectFile", [](auto &t) { t.media.write("projects/Bad/Project.vantor", "{"); },
                [](auto &t) { t.openProject("Bad"); }, "The data is not valid JSON: unterminated object at offset 1."},
        Refusal{"EmptyTemplate", [](auto &t) { t.ws.setTemplateText("\n  \n"); }, [](auto &t) { t.ws.saveTemplate(); },
                "Add at least one folder to the template."},
        Refusal{"BlankPresetName", [](auto &t) { t.ws.setCustomPresetName("   "); }, [](auto &t) { t.ws.savePreset(); },
                "\u201C   \u201D is not a safe file or folder name."},
        Refusal{"BackupMissing", none, addShuttle, "The backup folder does not exist: %1/shuttle"},
        Refusal{"BackupIsAFile", [](auto &t) { t.media.write("shuttle", "x"); }, addShuttle,
                "A backup destination must be a folder: %1/shuttle"},
        Refusal{"BackupReadOnly", [](auto &t) { QFile::setPermissions(t.media.makeDir("shuttle"), QFile::ReadOwner | QFile::ExeOwner); },
                addShuttle, "The backup folder is not writable: %1/shuttle"},
        Refusal{"BackupListedTwice", shuttle, [](auto &t) { backup(t, "shuttle/"); },
                "The backup folder is already listed: %1/shuttle"},
        Refusal{"BackupInsideAnother", [](auto &t) { t.media.makeDir("shuttle/day1"); addShuttle(t); },
                [](auto &t) { backup(t, "shuttle/day1"); }, "Backup folders must not lie inside one another: %1/shuttle/day1"},
        Refusal{"BackupInsideTheProject", [](auto &t) { t.openProject(); t.media.makeDir("projects/Doc/safety"); },
                [](auto &t) { backup(t, "projects/Doc/safety"); },
                "A backup folder must lie outside the project folder: %1/projects/Doc/safety"},
        Refusal{"BackupThroughALinkIntoTheProject",
                [](auto &t) { QFile::link(t.openProject(), t.media.file("shuttle")); }, addShuttle,
                "A backup folder must lie outside the project folder: %1/shuttle"},
        Refusal{"BackupHoldsTheProject", [](auto &t) { t.openProject(); }, [](auto &t) { backup(t, "projects"); },
                "A backup folder must not hold the project folder: %1/projects"},
        Refusal{"BackupDriveGoneBeforeQueueing",
                [](auto &t) { t.openProject(); t.receive({t.card()}); shuttle(t); QDir(t.media.file("shuttle")).removeRecursively(); },
                enqueue, "The backup folder does not exist: %1/shuttle"},
        // A copy already in place is not set aside while its backup is still owed.
        Refusal{"CopyInPlaceButBackupOwed",
                [](auto &t) {
                    t.openProject();
                    t.receive({t.card()});
                    t.media.write("projects/Doc/02_FOOTAGE/ORIGINALS/A001/CLIP/C0001.MXF", "one");
                    shuttle(t);
                },
                enqueue, "Destination collision: %1/projects/Doc/02_FOOTAGE/ORIGINALS/A001/CLIP/C0001.MXF. Change the output pattern or folder."},
        Refusal{"EjectOffAnyRemovableVolume", none, [](auto &t) { t.ws.eject(t.media.path()); },
                "Only a mounted removable volume can be ejected: %1"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(WorkspaceTest, StartsFromTheStoredStateAndFindsTheEngine)
{
    AppState state = AppState::fresh();
    state.presets.insert(state.presets.begin(), state.presets.back());
    state.templates.insert(state.templates.begin(), state.templates.back());
    state.project = ProjectContext{QStringLiteral("Doc"), QStringLiteral("ACME"), QStringLiteral("2024-01-02"),
                                   QStringLiteral("/projects/Doc")};
    state.projectGrant = FileGrant(state.project->root);
    harness.workspace.reset(); // it would save its own state on closing
    StateStore::save(state, harness.support.path());

    Workspace &workspace = harness.open();
    EXPECT_TRUE(workspace.preset() == state.presets.front() && workspace.templateDraft() == state.templates.front());
    EXPECT_EQ(workspace.client(), QStringLiteral("ACME"));
    EXPECT_EQ(workspace.location(), QStringLiteral("/projects"));
    QSignalSpy engine(&workspace, &Workspace::engineStatusChanged);
    ASSERT_TRUE(engine.wait(10000)); // the engine is on this machine: the transcode tests need it too
    EXPECT_EQ(workspace.engineStatus(), QStringLiteral("Ready to process"));
}

struct DefaultsCase {
    QVariant verify, checksum;
    bool expectedVerify;
    ChecksumAlgorithm expectedAlgorithm;
};
class UserDefaultsTest : public ::testing::TestWithParam<DefaultsCase> {};

TEST_P(UserDefaultsTest, ReadsTheImportKeys)
{
    WorkspaceHarness harness;
    {
        QSettings settings = WorkspaceHarness::defaults();
        settings.setValue(QStringLiteral("import.hierarchy"), false);
        if (GetParam().verify.isValid())
            settings.setValue(QStringLiteral("import.verify"), GetParam().verify);
        if (GetParam().checksum.isValid())
            settings.setValue(QStringLiteral("import.checksum"), GetParam().checksum);
    }
    Workspace &workspace = harness.open();
    EXPECT_EQ(std::make_tuple(workspace.verify(), workspace.algorithm(), workspace.hierarchy()),
              std::make_tuple(GetParam().expectedVerify, GetParam().expectedAlgorithm, false));
}

INSTANTIATE_TEST_SUITE_P(Keys, UserDefaultsTest,
                         ::testing::Values(DefaultsCase{{}, {}, true, ChecksumAlgorithm::xxHash},
                                           DefaultsCase{false, "SHA-256", false, ChecksumAlgorithm::sha256},
                                           DefaultsCase{"maybe", "MD5", true, ChecksumAlgorithm::md5},
                                           DefaultsCase{42, "sha-256", true, ChecksumAlgorithm::xxHash}));

TEST_F(WorkspaceTest, ReceivingSourcesAddsEachFileOnce)
{
    const QString folder = card();
    receive({folder});
    ws.setPage(Page::transcode);
    harness.choices.files = {folder}; // again, from the Import page's button
    ws.addSources();
    ASSERT_TRUE(harness.settle());
    EXPECT_EQ(ws.notice(), QStringLiteral("3 source files ready"));
    EXPECT_EQ(ws.page(), Page::transcode) << "the page stays";

    // A drop while a scan runs is ignored.
    ws.receive({media.write(QStringLiteral("other.mov"), "y")}, Page::ingest);
    ws.receive({media.write(QStringLiteral("loose.mov"), "x")}, Page::ingest);
    ASSERT_TRUE(harness.settle());
    ASSERT_EQ(ws.sources().size(), 4u);
    EXPECT_TRUE(ws.sources().back().url == media.file(QStringLiteral("other.mov")) && ws.page() == Page::ingest);
}

TEST_F(WorkspaceTest, ARenamedImportIsQueuedOnlyOnceConfirmed)
{
    const QString root = openProject();
    receive({card()});
    ws.setRename(true);
    ws.setPattern(QStringLiteral("{PROJECT}_{COUNTER}"));
    ws.setAlgorithm(ChecksumAlgorithm::sha256);
    harness.choices.confirmation = false;
    ws.queueImport(false);
    EXPECT_EQ(harness.choices.asked.last(), QStringLiteral("Use the previewed output names?"));
    EXPECT_TRUE(jobs().empty());

    harness.choices.confirmation = true;
    ws.queueImport(false);
    EXPECT_EQ(ws.notice(), QStringLiteral("3 jobs queued"));
    EXPECT_TRUE(ws.sources().empty() && ws.page() == Page::queue && !ws.queue().running());
    ASSERT_EQ(jobs().size(), 3u);
    EXPECT_EQ(jobs()[2].copyDestination, root + QStringLiteral("/02_FOOTAGE/ORIGINALS/A001/CLIP/Doc_0003.MXF"));
    EXPECT_TRUE(jobs()[2].checksum == ChecksumAlgorithm::sha256 && jobs()[2].destinationRoot == root);
}

TEST_F(WorkspaceTest, TranscodesQueueWithTheirOwnPresets)
{
    const QString output = chooseOutput();
    receive({media.write(QStringLiteral("notes.txt"), "n"), media.write(QStringLiteral("a.mov"), "v")});
    TranscodePreset special = ws.preset();
    special.suffix = QStringLiteral("_special");
    special.container = QStringLiteral("mov");
    ws.setSourcePreset(media.file(QStringLiteral("a.mov")), special);
    ws.setSourcePreset(media.file(QStringLiteral("notes.txt")), special);
    ws.enqueueTranscodes(false);
    ASSERT_EQ(jobs().size(), 1u);
    EXPECT_EQ(jobs()[0].outputDestination, output + QStringLiteral("/a_special.mov"));
    EXPECT_TRUE(jobs()[0].operation == JobOperation::transcode && jobs()[0].destinationRoot == output);
    EXPECT_EQ(ws.notice(), QStringLiteral("1 transcodes queued"));
    // The text file stays with its preset; the queued source leaves with its own.
    EXPECT_EQ(ws.sourcePresets().keys(), QStringList{media.file(QStringLiteral("notes.txt"))});
    EXPECT_EQ(ws.sources().size(), 1u);
}

TEST_F(WorkspaceTest, CreatingAndOpeningProjects)
{
    chooseLocation();
    ws.createProject();
    ASSERT_TRUE(harness.settle());
    EXPECT_EQ(ws.notice(), QStringLiteral("Project created \u00B7 %1 folders").arg(ws.templateDraft().folders.size()));
    EXPECT_TRUE(ws.page() == Page::ingest && QFileInfo::exists(media.file(QStringLiteral("Doc/Project.vantor"))));
    EXPECT_EQ(ws.queue().state().projectGrant, FileGrant(ws.queue().state().project->root));

    // A plain folder is a project named after it; a marked one keeps its fields but not its old root.
    const QString plain = openProject(QStringLiteral("Plain"));
    const QString today = QLocale::c().toString(QDate::currentDate(), QStringLiteral("yyyy-MM-dd"));
    EXPECT_EQ(ws.queue().state().project, (ProjectContext{QStringLiteral("Plain"), QString(), today, plain}));
    const ProjectContext marked{QStringLiteral("Feature"), QStringLiteral("ACME"), today, plain};
    media.write(QStringLiteral("projects/Renamed/Project.vantor"), marked.markerData());
    const QString renamed = openProject(QStringLiteral("Renamed"));
    EXPECT_EQ(ws.queue().state().project, (ProjectContext{QStringLiteral("Feature"), QStringLiteral("ACME"), today, renamed}));
}

TEST_F(WorkspaceTest, TemplatesAndPresetsAreStoredAtOnce)
{
    const std::size_t templates = ws.queue().state().templates.size();
    ws.newTemplate(true);
    ws.setTemplateText(QStringLiteral(" \tEDIT\t \r\n\r\nAUDIO/{PROJECT}\n"));
    ws.saveTemplate();
    ws.setCustomPresetName(QStringLiteral(" Dailies "));
    ws.savePreset();
    EXPECT_NE(ws.preset().id, ws.queue().state().presets.front().id);
    ws.queue().flush();
    const AppState stored = StateStore::load(harness.support.path());
    EXPECT_EQ(stored.templates.size(), templates + 1);
    EXPECT_EQ(stored.templates.back().folders, (QStringList{QStringLiteral("EDIT"), QStringLiteral("AUDIO/{PROJECT}")}));
    EXPECT_EQ(stored.presets.back(), ws.preset());
    EXPECT_EQ(ws.preset().name, QStringLiteral("Dailies"));
}

// A card whose clip and sidecar were offloaded before, and a clip that was not: the offloaded
// clip still gets its proxy, the sidecar nothing; a changed copy under the same name refuses all.
TEST_F(WorkspaceTest, CopiesAlreadyAtTheirDestinationsAreSetAside)
{
    const QString root = openProject(), copies = root + QStringLiteral("/02_FOOTAGE/ORIGINALS/A001/CLIP/");
    receive({card()});
    media.write(QStringLiteral("projects/Doc/02_FOOTAGE/ORIGINALS/A001/CLIP/C0001.MXF"), "one");
    media.write(QStringLiteral("projects/Doc/02_FOOTAGE/ORIGINALS/A001/CLIP/C0001.XML"), "<xml/>");
    ws.enqueue(false);
    ASSERT_TRUE(harness.settle());
    ASSERT_FALSE(ws.error()) << ws.error()->toStdString();
    EXPECT_EQ(ws.notice(), QStringLiteral("2 jobs queued \u00B7 2 already offloaded"));
    ASSERT_EQ(jobs().size(), 2u);
    EXPECT_EQ(std::make_tuple(jobs()[0].operation, jobs()[0].copyDestination, jobs()[0].outputDestination),
              std::make_tuple(JobOperation(JobOperation::transcode), std::optional<QString>(),
                              std::optional(root + QStringLiteral("/02_FOOTAGE/PROXIES/A001/CLIP/C0001") + ws.preset().suffix
                                            + QLatin1Char('.') + ws.preset().container)));
    EXPECT_EQ(jobs()[1].copyDestination, copies + QStringLiteral("C0002.MXF"));
    EXPECT_EQ(ws.importPlan().offloaded.size(), 2u);

    receive({card()});
    media.write(QStringLiteral("projects/Doc/02_FOOTAGE/ORIGINALS/A001/CLIP/C0001.MXF"), "uno"); // same size
    const QStringList before = snapshot();
    ws.enqueue(false);
    ASSERT_TRUE(harness.settle());
    EXPECT_EQ(ws.error(), QStringLiteral("Destination collision: ") + copies
                              + QStringLiteral("C0001.MXF. Change the output pattern or folder."));
    EXPECT_EQ(snapshot(), before);
}

TEST_F(WorkspaceTest, QueuedImportsOweTheListedBackupFolders)
{
    const QString root = openProject();
    receive({card()});
    harness.choices.folders << media.makeDir(QStringLiteral("drives/one")) << media.makeDir(QStringLiteral("drives/two"))
                            << media.makeDir(QStringLiteral("drives/three"));
    QSignalSpy changed(&ws, &Workspace::planChanged);
    for (int chosen = 0; chosen < 3; ++chosen)
        ws.chooseBackupFolder();
    ws.removeBackupFolder(0);
    ws.removeBackupFolder(7); // no such row: nothing happens
    ws.setCascade(true);
    EXPECT_EQ(harness.choices.asked.count(QStringLiteral("Choose backup destination")), 3);
    EXPECT_EQ(changed.count(), 5);
    const QStringList backups{media.file(QStringLiteral("drives/two")), media.file(QStringLiteral("drives/three"))};
    ASSERT_EQ(ws.backupFolders(), backups);

    ws.setOperation(JobOperation::copy);
    ws.enqueue(false);
    ASSERT_TRUE(harness.settle());
    ASSERT_FALSE(ws.error()) << ws.error()->toStdString();
    ASSERT_EQ(jobs().size(), 3u);
    for (const MediaJob &job : jobs()) {
        const QString below = job.copyDestination->mid(QFileInfo(root).path().size()); // "/Doc/02_FOOTAGE/…"
        QStringList owed;
        for (const BackupCopy &copy : job.backups)
            owed << copy.root + u' ' + copy.path + u' ' + QString::number(copy.deferred) + u' ' + QString::number(copy.committed);
        EXPECT_EQ(owed, QStringList({backups[0] + u' ' + backups[0] + below + QStringLiteral(" 1 0"),
                                     backups[1] + u' ' + backups[1] + below + QStringLiteral(" 1 0")}));
    }
}

TEST_F(WorkspaceTest, CustomPresetsAreRemovedAndBuiltInsStay)
{
    const std::size_t builtIns = ws.queue().state().presets.size();
    ws.setCustomPresetName(QStringLiteral("Dailies"));
    ws.savePreset();
    ws.removePreset(ws.preset().id);
    EXPECT_EQ(ws.notice(), QStringLiteral("Preset \u201cDailies\u201d removed"));
    EXPECT_EQ(ws.queue().state().presets.size(), builtIns);
    EXPECT_EQ(ws.preset(), ws.queue().state().presets.front()) << "the current preset falls back to the first";

    const TranscodePreset builtIn = ws.queue().state().presets.back();
    ws.removePreset(builtIn.id);
    EXPECT_EQ(ws.error(), QStringLiteral("\u201c") + builtIn.name + QStringLiteral("\u201d is a built-in preset and cannot be removed."));
    EXPECT_EQ(ws.queue().state().presets.size(), builtIns);
}
