#include "WorkspaceHarness.h"

#include "model/StateStore.h"
#include "projects/ProjectCreationService.h"
#include "projects/ProjectTemplateService.h"
#include "transcode/PresetService.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class WorkspaceTest : public ::testing::Test {
protected:
    WorkspaceHarness harness;
    TempDir media;

    // A project folder opened as the Import page would, named `name`.
    QString openProject(Workspace &workspace, const QString &name = QStringLiteral("Doc"))
    {
        const QString root = media.makeDir(QStringLiteral("projects/") + name);
        harness.choices.folders << root;
        workspace.openProject();
        return root;
    }
    void receive(Workspace &workspace, const QStringList &paths)
    {
        workspace.receive(paths);
        ASSERT_TRUE(harness.settle());
    }
    QString card()
    {
        media.write(QStringLiteral("A001/CLIP/C0001.MXF"), "one");
        media.write(QStringLiteral("A001/CLIP/C0002.MXF"), "two");
        media.write(QStringLiteral("A001/CLIP/C0001.XML"), "<xml/>");
        return media.file(QStringLiteral("A001"));
    }
};

} // namespace

TEST_F(WorkspaceTest, StartsWithBuiltInsAndDefaults)
{
    Workspace &workspace = harness.open();
    EXPECT_EQ(workspace.page(), Page::transcode);
    EXPECT_EQ(workspace.preset().name, PresetService::defaults().first().name);
    EXPECT_EQ(workspace.templateDraft().name, ProjectTemplateService::defaults().front().name);
    EXPECT_EQ(workspace.templateID(), workspace.templateDraft().id);
    EXPECT_EQ(workspace.templateText(), workspace.templateDraft().folders.join(QLatin1Char('\n')));
    EXPECT_EQ(workspace.notice(), QStringLiteral("Ready"));
    EXPECT_FALSE(workspace.error());
    EXPECT_EQ(workspace.operation(), JobOperation::copyAndTranscode);
    EXPECT_EQ(workspace.copyFolder(), QStringLiteral("02_FOOTAGE/ORIGINALS"));
    EXPECT_EQ(workspace.outputFolder(), QStringLiteral("02_FOOTAGE/PROXIES"));
    EXPECT_EQ(workspace.pattern(), QStringLiteral("{ORIGINAL}"));
    EXPECT_TRUE(workspace.verify());
    EXPECT_TRUE(workspace.hierarchy());
    EXPECT_EQ(workspace.algorithm(), ChecksumAlgorithm::xxHash);
    EXPECT_EQ(workspace.date().date(), QDate::currentDate());

    // The engine is on this machine (the transcode tests need it too).
    EXPECT_EQ(workspace.engineStatus(), QStringLiteral("Checking processing engine\u2026"));
    QSignalSpy engine(&workspace, &Workspace::engineStatusChanged);
    ASSERT_TRUE(engine.wait(10000));
    EXPECT_EQ(workspace.engineStatus(), QStringLiteral("Ready to process"));
    EXPECT_NE(workspace.watcher(), nullptr);
}

TEST_F(WorkspaceTest, StartsWithTheStoredPresetTemplateAndProject)
{
    AppState state = AppState::fresh();
    TranscodePreset custom = state.presets.front();
    custom.name = QStringLiteral("House proxy");
    state.presets.insert(state.presets.begin(), custom);
    ProjectTemplate mine{QUuid::createUuid(), QStringLiteral("Mine"), {QStringLiteral("A"), QStringLiteral("B/C")}};
    state.templates.insert(state.templates.begin(), mine);
    state.project = ProjectContext{QStringLiteral("Doc"), QStringLiteral("ACME"), QStringLiteral("2024-01-02"),
                                   QStringLiteral("/projects/Doc")};
    state.projectGrant = FileGrant(QStringLiteral("/projects/Doc"));
    StateStore::save(state, harness.support.path());

    Workspace &workspace = harness.open();
    EXPECT_EQ(workspace.preset().name, QStringLiteral("House proxy"));
    EXPECT_EQ(workspace.templateDraft(), mine);
    EXPECT_EQ(workspace.templateText(), QStringLiteral("A\nB/C"));
    EXPECT_EQ(workspace.name(), QStringLiteral("Doc"));
    EXPECT_EQ(workspace.client(), QStringLiteral("ACME"));
    EXPECT_EQ(workspace.location(), QStringLiteral("/projects"));
    EXPECT_EQ(workspace.date().date(), QDate::currentDate());
}

struct DefaultsCase {
    QVariant verify;
    QVariant checksum;
    bool expectedVerify;
    ChecksumAlgorithm expectedAlgorithm;
};

class UserDefaultsTest : public ::testing::TestWithParam<DefaultsCase> {};

TEST_P(UserDefaultsTest, ReadsTheImportKeys)
{
    WorkspaceHarness harness;
    {
        QSettings settings = WorkspaceHarness::defaults();
        settings.clear();
        if (GetParam().verify.isValid())
            settings.setValue(QStringLiteral("import.verify"), GetParam().verify);
        if (GetParam().checksum.isValid())
            settings.setValue(QStringLiteral("import.checksum"), GetParam().checksum);
        settings.setValue(QStringLiteral("import.hierarchy"), false);
    }
    Workspace &workspace = harness.open();
    EXPECT_EQ(workspace.verify(), GetParam().expectedVerify);
    EXPECT_EQ(workspace.algorithm(), GetParam().expectedAlgorithm);
    EXPECT_FALSE(workspace.hierarchy());
}

INSTANTIATE_TEST_SUITE_P(
    Keys, UserDefaultsTest,
    ::testing::Values(DefaultsCase{QVariant(), QVariant(), true, ChecksumAlgorithm::xxHash},
                      DefaultsCase{false, QStringLiteral("SHA-256"), false, ChecksumAlgorithm::sha256},
                      DefaultsCase{QStringLiteral("maybe"), QStringLiteral("MD5"), true, ChecksumAlgorithm::md5},
                      DefaultsCase{true, QStringLiteral("sha-256"), true, ChecksumAlgorithm::xxHash},
                      DefaultsCase{42, QStringLiteral("xxHash64"), true, ChecksumAlgorithm::xxHash}));

TEST_F(WorkspaceTest, ReceivingSourcesAddsEachFileOnceAndKeepsTheChosenPage)
{
    Workspace &workspace = harness.open();
    const QString folder = card();
    workspace.setPage(Page::ingest);
    receive(workspace, {folder});
    ASSERT_EQ(workspace.sources().size(), 3u);
    EXPECT_EQ(workspace.notice(), QStringLiteral("3 source files ready"));

    // The same folder again, from the Import page's button while the Transcode page shows.
    workspace.setPage(Page::transcode);
    harness.choices.files = {folder};
    workspace.addSources();
    ASSERT_TRUE(harness.settle());
    EXPECT_EQ(workspace.sources().size(), 3u);
    EXPECT_EQ(workspace.notice(), QStringLiteral("3 source files ready"));
    EXPECT_EQ(workspace.page(), Page::transcode);

    // A drop while a scan runs is ignored.
    const QString loose = media.write(QStringLiteral("loose.mov"), "x");
    workspace.receive({media.write(QStringLiteral("other.mov"), "y")}, Page::ingest);
    workspace.receive({loose}, Page::ingest);
    ASSERT_TRUE(harness.settle());
    EXPECT_EQ(workspace.sources().size(), 4u);
    EXPECT_EQ(workspace.sources().back().url, media.file(QStringLiteral("other.mov")));
    EXPECT_EQ(workspace.page(), Page::ingest);
}

TEST_F(WorkspaceTest, AFailedScanReportsAndLeavesTheSources)
{
    Workspace &workspace = harness.open();
    receive(workspace, {media.write(QStringLiteral("a.mov"), "a")});
    media.makeDir(QStringLiteral("bad"));
    ASSERT_TRUE(QFile::link(media.file(QStringLiteral("a.mov")), media.file(QStringLiteral("bad/link.mov"))));
    receive(workspace, {media.file(QStringLiteral("bad"))});
    ASSERT_TRUE(workspace.error());
    EXPECT_TRUE(workspace.error()->startsWith(QStringLiteral("A symbolic link was found in the source.")))
        << workspace.error()->toStdString();
    EXPECT_EQ(workspace.sources().size(), 1u);
    EXPECT_FALSE(workspace.scanning());
}

TEST_F(WorkspaceTest, RemovingASourceDropsOnlyItsPreset)
{
    Workspace &workspace = harness.open();
    receive(workspace, {card()});
    const std::vector<SourceFile> sources = workspace.sources();
    workspace.setSourcePreset(sources[0].url, workspace.preset());
    workspace.setSourcePreset(sources[1].url, workspace.preset());
    QSignalSpy changed(&workspace, &Workspace::sourcesChanged);
    workspace.setSources({sources[1], sources[2]});
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(workspace.sourcePresets().keys(), QStringList{sources[1].url});
}

TEST_F(WorkspaceTest, NamingValuesStemsAndPreviews)
{
    Workspace &workspace = harness.open();
    receive(workspace, {card()});
    const std::vector<SourceFile> &sources = workspace.sources(); // C0001.MXF, C0001.XML, C0002.MXF
    workspace.setPattern(QStringLiteral("{PROJECT}_{COUNTER}"));
    EXPECT_EQ(workspace.stem(sources[2], 2), QStringLiteral("C0002")); // rename off: the original name

    openProject(workspace, QStringLiteral("Doc"));
    workspace.setRename(true);
    workspace.setCamera(QStringLiteral("A"));
    const auto values = workspace.values(sources[2], 2);
    EXPECT_EQ(values.size(), 10);
    EXPECT_EQ(values.value(QStringLiteral("PROJECT")), QStringLiteral("Doc"));
    EXPECT_EQ(values.value(QStringLiteral("CAMERA")), QStringLiteral("A"));
    EXPECT_EQ(values.value(QStringLiteral("ORIGINAL")), QStringLiteral("C0002"));
    EXPECT_EQ(workspace.stem(sources[2], 2), QStringLiteral("Doc_0003"));

    const TranscodePreset &preset = workspace.preset();
    EXPECT_EQ(workspace.outputName(sources[0], 0), QStringLiteral("Doc_0001") + preset.suffix + u'.' + preset.container);
    EXPECT_EQ(workspace.outputName(sources[1], 1), QStringLiteral("Doc_0002.XML")); // the sidecar keeps its kind
    workspace.setOperation(JobOperation::copy);
    EXPECT_EQ(workspace.outputName(sources[0], 0), QStringLiteral("Doc_0001.MXF"));
    workspace.setPattern(QStringLiteral("{REEL}"));
    EXPECT_EQ(workspace.outputName(sources[0], 0), std::nullopt);
}

TEST_F(WorkspaceTest, EnqueueRefusalsChangeNothing)
{
    Workspace &workspace = harness.open();
    workspace.enqueue();
    EXPECT_EQ(workspace.error(), QStringLiteral("Create or open a project first."));

    openProject(workspace);
    workspace.setPage(Page::ingest);
    workspace.enqueue();
    EXPECT_EQ(workspace.error(), QStringLiteral("Add source media first."));
    EXPECT_EQ(workspace.page(), Page::ingest);

    receive(workspace, {card()});
    workspace.setCopyFolder(QStringLiteral("/02_FOOTAGE"));
    workspace.enqueue();
    EXPECT_EQ(workspace.error(), QStringLiteral("Use relative folder paths, without a leading or trailing slash."));
    EXPECT_TRUE(workspace.queue().state().jobs.empty());
    EXPECT_EQ(workspace.sources().size(), 3u);
}

TEST_F(WorkspaceTest, EnqueueBuildsTheImportPlan)
{
    Workspace &workspace = harness.open();
    const QString root = openProject(workspace);
    receive(workspace, {card()});
    workspace.setAlgorithm(ChecksumAlgorithm::sha256);
    workspace.enqueue(false);
    ASSERT_FALSE(workspace.error());
    EXPECT_EQ(workspace.notice(), QStringLiteral("3 jobs queued"));
    EXPECT_TRUE(workspace.sources().empty());
    EXPECT_EQ(workspace.page(), Page::queue);

    const std::vector<MediaJob> &jobs = workspace.queue().state().jobs;
    ASSERT_EQ(jobs.size(), 3u);
    const TranscodePreset &preset = workspace.preset();
    EXPECT_EQ(jobs[0].operation, JobOperation::copyAndTranscode);
    EXPECT_EQ(jobs[0].copyDestination, root + QStringLiteral("/02_FOOTAGE/ORIGINALS/A001/CLIP/C0001.MXF"));
    EXPECT_EQ(jobs[0].outputDestination,
              root + QStringLiteral("/02_FOOTAGE/PROXIES/A001/CLIP/C0001") + preset.suffix + u'.' + preset.container);
    EXPECT_EQ(jobs[0].preset, preset);
    EXPECT_EQ(jobs[0].checksum, ChecksumAlgorithm::sha256);
    EXPECT_EQ(jobs[0].destinationRoot, root);
    EXPECT_EQ(jobs[1].operation, JobOperation::copy); // the XML sidecar
    EXPECT_EQ(jobs[1].outputDestination, std::nullopt);
    EXPECT_EQ(jobs[1].preset, std::nullopt);
    EXPECT_EQ(jobs[1].copyDestination, root + QStringLiteral("/02_FOOTAGE/ORIGINALS/A001/CLIP/C0001.XML"));
}

TEST_F(WorkspaceTest, FlatPlanWithoutVerification)
{
    Workspace &workspace = harness.open();
    const QString root = openProject(workspace);
    receive(workspace, {card()});
    workspace.setHierarchy(false);
    workspace.setVerify(false);
    workspace.setOperation(JobOperation::copy);
    workspace.enqueue(false);
    const std::vector<MediaJob> &jobs = workspace.queue().state().jobs;
    ASSERT_EQ(jobs.size(), 3u);
    for (const MediaJob &job : jobs) {
        EXPECT_EQ(job.checksum, std::nullopt);
        EXPECT_EQ(job.preset, std::nullopt);
        EXPECT_EQ(QFileInfo(*job.copyDestination).path(), root + QStringLiteral("/02_FOOTAGE/ORIGINALS"));
    }
}

TEST_F(WorkspaceTest, ABatchFailingOnItsTwentiethSourceQueuesNothing)
{
    Workspace &workspace = harness.open();
    const QString root = openProject(workspace);
    QStringList files;
    for (int i = 1; i <= 19; ++i)
        files << media.write(QStringLiteral("card/clip%1.wav").arg(i), "a");
    // The twentieth already sits where its copy would go.
    files << media.write(QStringLiteral("projects/Doc/02_FOOTAGE/ORIGINALS/clip20.wav"), "a");
    receive(workspace, files);
    workspace.setHierarchy(false);
    ASSERT_EQ(workspace.sources().size(), 20u);
    workspace.enqueue();
    EXPECT_EQ(workspace.error(), QStringLiteral("Source and destination are the same. Choose another folder."));
    EXPECT_TRUE(workspace.queue().state().jobs.empty());
    EXPECT_EQ(workspace.sources().size(), 20u);
    EXPECT_FALSE(workspace.queue().running());
}

TEST_F(WorkspaceTest, RenamedImportWaitsForTheConfirmation)
{
    Workspace &workspace = harness.open();
    openProject(workspace);
    receive(workspace, {card()});
    workspace.setRename(true);
    workspace.setPattern(QStringLiteral("{PROJECT}_{COUNTER}"));
    QSignalSpy confirmation(&workspace, &Workspace::renameConfirmationChanged);
    harness.choices.confirmation = false;
    workspace.queueImport(false);
    EXPECT_EQ(harness.choices.asked.last(), QStringLiteral("Use the previewed output names?"));
    EXPECT_EQ(confirmation.count(), 2);
    EXPECT_FALSE(workspace.renameConfirmation());
    EXPECT_TRUE(workspace.queue().state().jobs.empty());

    harness.choices.confirmation = true;
    workspace.queueImport(false);
    ASSERT_EQ(workspace.queue().state().jobs.size(), 3u);
    EXPECT_EQ(QFileInfo(*workspace.queue().state().jobs[2].copyDestination).fileName(),
              QStringLiteral("Doc_0003.MXF"));
}

TEST_F(WorkspaceTest, TranscodeQueueing)
{
    Workspace &workspace = harness.open();
    workspace.enqueueTranscodes(true);
    EXPECT_EQ(workspace.error(), QStringLiteral("Choose an output folder."));

    const QString output = media.makeDir(QStringLiteral("out"));
    harness.choices.folders << output;
    workspace.chooseTranscodeDestination();
    ASSERT_EQ(workspace.queue().state().transcodeDestination, FileGrant(output));
    receive(workspace, {media.write(QStringLiteral("notes.txt"), "n")});
    workspace.enqueueTranscodes(true);
    EXPECT_EQ(workspace.error(), QStringLiteral("Open video sources first."));

    // A clip already in the output folder whose output would be itself.
    TranscodePreset same = workspace.preset();
    same.suffix.clear();
    same.container = QStringLiteral("mov");
    workspace.setPreset(same);
    receive(workspace, {media.write(QStringLiteral("out/inplace.mov"), "v"), media.write(QStringLiteral("a.mov"), "v")});
    workspace.enqueueTranscodes(true);
    EXPECT_EQ(workspace.error(), QStringLiteral("The output would replace a source. Choose another suffix or folder."));
    EXPECT_TRUE(workspace.queue().state().jobs.empty());

    std::vector<SourceFile> sources = workspace.sources();
    std::erase_if(sources, [](const SourceFile &source) { return source.url.endsWith(QStringLiteral("inplace.mov")); });
    workspace.setSources(sources);
    TranscodePreset special = same;
    special.suffix = QStringLiteral("_special");
    workspace.setSourcePreset(media.file(QStringLiteral("a.mov")), special);
    workspace.setPage(Page::transcode);
    workspace.setError(std::nullopt); // dismissed
    workspace.enqueueTranscodes(false);
    ASSERT_FALSE(workspace.error()) << workspace.error()->toStdString();
    ASSERT_EQ(workspace.queue().state().jobs.size(), 1u);
    const MediaJob &job = workspace.queue().state().jobs.front();
    EXPECT_EQ(job.outputDestination, output + QStringLiteral("/a_special.mov"));
    EXPECT_EQ(job.operation, JobOperation::transcode);
    EXPECT_EQ(job.destinationRoot, output);
    EXPECT_EQ(workspace.notice(), QStringLiteral("1 transcodes queued"));
    EXPECT_EQ(workspace.page(), Page::transcode);
    EXPECT_FALSE(workspace.queue().running());
    ASSERT_EQ(workspace.sources().size(), 1u); // the text file stays
    EXPECT_TRUE(workspace.sources().front().url.endsWith(QStringLiteral("notes.txt")));
    EXPECT_TRUE(workspace.sourcePresets().isEmpty());
}

TEST_F(WorkspaceTest, CreatingAProject)
{
    Workspace &workspace = harness.open();
    workspace.createProject();
    EXPECT_EQ(workspace.error(), QStringLiteral("Choose a project location."));

    harness.choices.folders << media.makeDir(QStringLiteral("projects"));
    workspace.chooseLocation();
    workspace.setTemplateID(QUuid::createUuid());
    workspace.createProject();
    EXPECT_EQ(workspace.error(), QStringLiteral("Choose a template."));

    const ProjectTemplate chosen = workspace.queue().state().templates.front();
    workspace.setTemplateID(chosen.id);
    workspace.setName(QStringLiteral("Doc"));
    workspace.createProject();
    EXPECT_TRUE(workspace.scanning());
    ASSERT_TRUE(harness.settle());
    EXPECT_EQ(workspace.notice(), QStringLiteral("Project created \u00B7 %1 folders").arg(chosen.folders.size()));
    EXPECT_EQ(workspace.page(), Page::ingest);
    const QString root = media.file(QStringLiteral("projects/Doc"));
    EXPECT_TRUE(QFileInfo::exists(root + QStringLiteral("/Project.vantor")));
    ASSERT_TRUE(workspace.queue().state().project);
    EXPECT_EQ(QDir::cleanPath(workspace.queue().state().project->root), root);
    EXPECT_EQ(workspace.queue().state().projectGrant, FileGrant(workspace.queue().state().project->root));

    workspace.createProject();
    ASSERT_TRUE(harness.settle());
    EXPECT_EQ(workspace.error(), QStringLiteral("A project named \u201CDoc\u201D already exists. Use Open Project or "
                                                "choose another name."));
}

TEST_F(WorkspaceTest, OpeningAProjectFolder)
{
    Workspace &workspace = harness.open();
    workspace.openProject(); // cancelled: nothing happens
    EXPECT_FALSE(workspace.queue().state().project);

    const QString plain = openProject(workspace, QStringLiteral("Plain"));
    ASSERT_TRUE(workspace.queue().state().project);
    EXPECT_EQ(*workspace.queue().state().project,
              (ProjectContext{QStringLiteral("Plain"), QString(), QLocale::c().toString(QDate::currentDate(),
                                                                                        QStringLiteral("yyyy-MM-dd")),
                              plain}));
    EXPECT_EQ(workspace.name(), QStringLiteral("Plain"));
    EXPECT_EQ(workspace.page(), Page::ingest);

    const ProjectContext marked{QStringLiteral("Feature"), QStringLiteral("ACME"), QStringLiteral("2024-05-06"),
                                media.file(QStringLiteral("projects/Renamed"))};
    media.write(QStringLiteral("projects/Renamed/Project.vantor"), marked.markerData());
    openProject(workspace, QStringLiteral("Renamed"));
    EXPECT_EQ(workspace.queue().state().project, marked);
    EXPECT_EQ(workspace.name(), QStringLiteral("Renamed"));

    media.write(QStringLiteral("projects/Broken/Project.vantor"), "{");
    openProject(workspace, QStringLiteral("Broken"));
    EXPECT_TRUE(workspace.error());
    EXPECT_EQ(workspace.queue().state().project, marked);
}

TEST_F(WorkspaceTest, TemplatesAreStoredAtOnce)
{
    Workspace &workspace = harness.open();
    const std::size_t stored = workspace.queue().state().templates.size();
    workspace.newTemplate(false);
    EXPECT_EQ(workspace.templateDraft().name, QStringLiteral("Untitled template"));
    EXPECT_EQ(workspace.templateText(), QStringLiteral("01_PROJECT FILES\n02_FOOTAGE/ORIGINALS\n02_FOOTAGE/PROXIES\n"
                                                       "03_AUDIO\n08_EXPORTS"));
    EXPECT_EQ(workspace.queue().state().templates.size(), stored + 1);
    EXPECT_EQ(workspace.notice(), QStringLiteral("Template saved"));

    workspace.newTemplate(true);
    EXPECT_EQ(workspace.templateDraft().name, QStringLiteral("Untitled template copy"));
    EXPECT_EQ(workspace.queue().state().templates.size(), stored + 2);

    workspace.setTemplateText(QStringLiteral(" \tEDIT\t \r\n\r\nAUDIO/{PROJECT}\n"));
    workspace.saveTemplate();
    EXPECT_EQ(workspace.queue().state().templates.back().folders,
              (QStringList{QStringLiteral("EDIT"), QStringLiteral("AUDIO/{PROJECT}")}));
    EXPECT_EQ(workspace.queue().state().templates.size(), stored + 2);

    workspace.setTemplateText(QStringLiteral("\n  \n"));
    workspace.saveTemplate();
    EXPECT_EQ(workspace.error(), QStringLiteral("Add at least one folder to the template."));
    EXPECT_EQ(workspace.queue().state().templates.back().folders.size(), 2);

    workspace.selectTemplate(workspace.queue().state().templates.front());
    EXPECT_EQ(workspace.templateDraft(), workspace.queue().state().templates.front());
}

TEST_F(WorkspaceTest, SavingACustomPreset)
{
    Workspace &workspace = harness.open();
    const std::size_t stored = workspace.queue().state().presets.size();
    workspace.setCustomPresetName(QStringLiteral("   "));
    workspace.savePreset();
    EXPECT_TRUE(workspace.error());
    EXPECT_EQ(workspace.queue().state().presets.size(), stored);

    const QUuid original = workspace.preset().id;
    workspace.setCustomPresetName(QStringLiteral(" Dailies "));
    workspace.savePreset();
    ASSERT_EQ(workspace.queue().state().presets.size(), stored + 1);
    EXPECT_EQ(workspace.preset(), workspace.queue().state().presets.back());
    EXPECT_EQ(workspace.preset().name, QStringLiteral("Dailies"));
    EXPECT_NE(workspace.preset().id, original);
    EXPECT_EQ(workspace.notice(), QStringLiteral("Custom preset saved"));
    EXPECT_TRUE(workspace.customPresetName().isEmpty());

    workspace.queue().flush();
    EXPECT_EQ(StateStore::load(harness.support.path()).presets.back().name, QStringLiteral("Dailies"));
}
