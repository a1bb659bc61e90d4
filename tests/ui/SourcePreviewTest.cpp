#include "ClipMaker.h"
#include "ScopedEnvironment.h"
#include "UiFixture.h"
#include "pages/ProcessedPreviewSheet.h"
#include "pages/SourceInspectorPanel.h"
#include "workspace/PreviewController.h"
#include "workspace/SourceInspector.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QMediaPlayer>
#include <QSlider>
#include <QStackedWidget>

using namespace vantor;

namespace {

// Clips made once for the suite: A.mov plays with a timecode, B.mkv carries a subtitle track and
// two chapters, C.nut is in a container the player cannot open, tone.wav has no picture.
class SourcePreviewTest : public test::UiTest {
protected:
    static inline std::unique_ptr<test::TempDir> clips;

    static QString clip(const QString &name) { return clips->file(name); }
    static void SetUpTestSuite()
    {
        clips = std::make_unique<test::TempDir>();
        test::makeClip(clip("A.mov"), { .seconds = 1, .timecode = "01:00:00:00" });
        const QString subtitles = clips->write("B.srt", "1\n00:00:00,000 --> 00:00:00,400\nHello\n");
        const QString chapters = clips->write("B.txt",
            ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=500\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=500\nEND=1000\n");
        test::makeClip(clip("B.mkv"),
            { .width = 640, .height = 360, .seconds = 1, .rate = "30000/1001", .audioChannels = 0,
                .extraInputs = { "-i", subtitles, "-i", chapters },
                .extraArguments = { "-map", "0:v", "-map", "1:s", "-map_chapters", "2" } });
        test::makeClip(clip("C.nut"), { .seconds = 1, .audioChannels = 0 });
        test::runFfmpeg({ "-f", "lavfi", "-i", "sine=duration=0.5", clip("tone.wav") });
    }
    static void TearDownTestSuite() { clips.reset(); }

    // Previews render into the temporary folder: a private one, so the test can count them.
    test::TempDir temporary;
    test::ScopedEnvironment temporaryFolder { "TMPDIR", temporary.path().toUtf8() };
    std::unique_ptr<QWidget> host;
    SourceInspector *inspector = nullptr;

    void SetUp() override
    {
        open();
        workspace->setPreset(TranscodePreset(QUuid::createUuid(), "Proxy", Codec::h264, "mp4", 0, 100, 23, 8,
            AudioMode::none, 48000, 24, 0, "_proxy"));
        host = std::make_unique<QWidget>();
        inspector = new SourceInspector(*workspace, host.get());
        new ui::SourceInspectorPanel(*workspace, *inspector, host.get());
        host->show(); // the player loads only what can be seen
        workspace->receive({ clip("A.mov"), clip("B.mkv"), clip("tone.wav") }, Page::transcode);
        ASSERT_TRUE(waitUntil([&] { return !workspace->scanning() && workspace->sources().size() == 3; }));
        ASSERT_TRUE(inspected());
    }
    void TearDown() override { host.reset(); }

    bool inspected() { return waitUntil([&] { return !inspector->inspecting(); }); }
    template <typename T = QLabel> T *shown(const QString &name) { return findIn<T>(host.get(), name); }
    QString row(const QString &name) { return shown(name)->text(); }
    QStringList previewFolders() const
    {
        return QDir(temporary.path()).entryList({ "vantor-preview-*" }, QDir::Dirs);
    }
};

// Each row's text from a preset and a probe is SourceSummaryTest's; here each label shows its row
// and real probes fill them.
TEST_F(SourcePreviewTest, SelectingASourceFillsTheSummary)
{
    struct Case {
        QString source;
        QMap<QString, QString> rows;
        QStringList subtitleCodecs; // what the probe found, for the Subtitles and Chapters tabs
        int chapters;
    };
    const QList<Case> cases {
        { "A.mov",
            { { "summaryFormat", "MP4" }, { "summaryVideo", "H.264 · 320 × 180" }, { "summaryAudio", "No audio" },
                { "summarySource", "h264 · 320 × 180" }, { "summaryFrameRate", "Same As 25 FPS" },
                { "summaryTimecode", "01:00:00:00" }, { "summaryOutputName", "A_proxy.mp4" },
                { "summaryEstimatedOutput", "About 1.0 MB" } },
            {}, 0 },
        { "B.mkv",
            { { "summarySource", "h264 · 640 × 360" }, { "summaryFrameRate", "Same As 29.97 FPS" },
                { "summaryTimecode", "Not Present" }, { "summaryOutputName", "B_proxy.mp4" } },
            { "ass" }, 2 },
        { "tone.wav",
            { { "summarySource", "No supported video stream in tone.wav. Use Copy & organize for audio and sidecars." },
                { "summaryTimecode", "Not Present" }, { "summaryEstimatedOutput", "Unknown" } },
            {}, 0 },
    };
    for (const Case &entry : cases) {
        SCOPED_TRACE(entry.source.toStdString());
        inspector->select(clip(entry.source));
        EXPECT_EQ(row("summarySource"), "Inspecting\u2026");
        ASSERT_TRUE(inspected());
        for (auto it = entry.rows.begin(); it != entry.rows.end(); ++it)
            EXPECT_EQ(row(it.key()), it.value()) << it.key().toStdString();
        const std::optional<MediaInfo> &info = inspector->info();
        EXPECT_EQ(info ? info->subtitleTracks : QStringList(), entry.subtitleCodecs);
        EXPECT_EQ(info ? info->chapterCount : 0, entry.chapters);
        EXPECT_EQ(shown("sourceError")->isVisibleTo(host.get()), entry.source == "tone.wav");
    }
    EXPECT_EQ(row("summarySources"), "3 Sources");
}

TEST_F(SourcePreviewTest, TheSummaryFollowsSelectionPresetsAndSources)
{
    inspector->select(clip("B.mkv"));
    inspector->select(clip("A.mov"));
    // The inspection ends with the newer source's answer.
    ASSERT_TRUE(inspected());
    EXPECT_EQ(row("summarySource"), "h264 · 320 × 180");

    // An edit of the current preset shows at once; a source's own preset wins over it.
    TranscodePreset preset = workspace->preset();
    preset.bitrateMbps = 16;
    workspace->setPreset(preset);
    EXPECT_EQ(row("summaryEstimatedOutput"), "About 2.0 MB");
    preset.suffix = "_own";
    workspace->setSourcePreset(clip("A.mov"), preset);
    EXPECT_EQ(row("summaryOutputName"), "A_own.mp4");
    EXPECT_EQ(row("summaryOverrides"), "1 Custom Overrides");

    // Removing the shown source moves the Summary to the first one left.
    workspace->setSources({ workspace->sources().begin() + 1, workspace->sources().end() });
    EXPECT_EQ(inspector->selected(), clip("B.mkv"));
    ASSERT_TRUE(inspected());
    EXPECT_EQ(row("summarySource"), "h264 · 640 × 360");
    workspace->setSources({});
    EXPECT_EQ(row("summarySource"), "No Source Selected");
    EXPECT_EQ(shown<QStackedWidget>("sourcePreview")->currentWidget()->objectName(), "sourcePreviewPlaceholder");
}

TEST_F(SourcePreviewTest, ThePlayerShowsWhatItCanPlayAndAnEngineStillOtherwise)
{
    auto *player = host->findChild<QMediaPlayer *>();
    ASSERT_NE(player, nullptr);
    EXPECT_TRUE(waitUntil([&] { return player->mediaStatus() == QMediaPlayer::LoadedMedia; }))
        << player->errorString().toStdString();
    EXPECT_NE(shown<QStackedWidget>("sourcePreview")->currentWidget()->findChild<QWidget *>("sourceVideo"), nullptr);

    inspector->select(clip("C.nut"));
    ASSERT_TRUE(inspected());
    // The player is given a few seconds to open the file before the engine's still replaces it.
    EXPECT_TRUE(QTest::qWaitFor([&] { return !shown("sourceStill")->pixmap().isNull(); }, 30000));
    EXPECT_TRUE(shown("previewUnavailable")->isVisibleTo(host.get()));
    EXPECT_EQ(row("previewUnavailable"), "Preview Unavailable For This Format");
}

class ProcessedPreviewTest : public SourcePreviewTest {
protected:
    std::unique_ptr<ui::ProcessedPreviewSheet> sheet;

    void SetUp() override
    {
        SourcePreviewTest::SetUp();
        inspector->select(clip("A.mov"));
        ASSERT_TRUE(inspected());
        sheet = std::make_unique<ui::ProcessedPreviewSheet>(*workspace, *inspector, host.get());
        sheet->show();
    }
    void TearDown() override
    {
        sheet.reset();
        SourcePreviewTest::TearDown();
    }
    template <typename T = QLabel> T *inSheet(const QString &name) { return findIn<T>(sheet.get(), name); }
    void press(const QString &name) { clickIn(sheet.get(), name); }
    bool rendered() { return waitUntil([&] { return !sheet->controller().busy(); }); }
    QImage frame() { return QImage::fromData(sheet->controller().image(), "PNG"); }
};

TEST_F(ProcessedPreviewTest, AFrameRenderShowsTheProcessedPictureUntilTheSheetCloses)
{
    EXPECT_EQ(inSheet("previewPlaceholder")->text(), "Render A Frame Or A Five-Second Test Clip");
    inSheet<QSlider>("previewPosition")->setValue(5);
    EXPECT_EQ(inSheet("previewPositionText")->text(), "0.5s");
    EXPECT_EQ(inSheet("previewEstimate")->text(), "Estimated Output: About 1.0 MB");

    press("renderFrame");
    EXPECT_TRUE(inSheet<QAbstractButton>("cancelPreview")->isVisible());
    ASSERT_TRUE(rendered());
    const QImage plain = frame();
    EXPECT_EQ(plain.size(), QSize(320, 180));
    EXPECT_FALSE(inSheet("previewImage")->pixmap().isNull());
    EXPECT_EQ(inSheet("previewDetail")->text(), "Frame at 0.5s");
    EXPECT_FALSE(inSheet<QAbstractButton>("cancelPreview")->isVisible());

    // With the file name and timecode burned in, the same frame differs; the earlier render's
    // file goes once the new one is shown.
    TranscodePreset burned = workspace->preset();
    burned.setFinish({ .burnFilename = true, .burnTimecode = true, .burnText = {}, .channelMap = {} });
    workspace->setPreset(burned);
    press("renderFrame");
    ASSERT_TRUE(rendered());
    EXPECT_EQ(frame().size(), plain.size());
    EXPECT_NE(frame(), plain);
    const std::optional<QString> result = sheet->controller().result();
    ASSERT_TRUE(result && QFileInfo::exists(*result));
    EXPECT_EQ(previewFolders().size(), 1);

    press("showPreviewInFileManager");
    EXPECT_EQ(desktop.revealed, QStringList { *result });

    press("donePreview");
    EXPECT_FALSE(sheet->isVisible());
    EXPECT_FALSE(QFileInfo::exists(*result));
    EXPECT_TRUE(previewFolders().isEmpty());
    EXPECT_TRUE(sheet->controller().image().isEmpty());
}

TEST_F(ProcessedPreviewTest, ATestClipReportsItsSizeEstimate)
{
    press("encodeClip");
    ASSERT_TRUE(rendered());
    ASSERT_TRUE(sheet->controller().result());
    EXPECT_EQ(QFileInfo(*sheet->controller().result()).fileName(), "Test Clip.mp4");
    EXPECT_EQ(inSheet("previewMessage")->text(),
        "Test clip encoded successfully. Use Show In File Manager to inspect this format in your editor.");
    const QString detail = inSheet("previewDetail")->text();
    EXPECT_TRUE(detail.contains(" · Full Clip ≈ ") && detail.endsWith(" (Sample Estimate)")) << detail.toStdString();
    sheet->close();
    EXPECT_TRUE(previewFolders().isEmpty());
}

TEST_F(ProcessedPreviewTest, CancelledAndSupersededRendersAreDropped)
{
    PreviewController &controller = sheet->controller();
    press("renderFrame");
    press("cancelPreview");
    EXPECT_FALSE(controller.busy());
    EXPECT_FALSE(inSheet<QAbstractButton>("cancelPreview")->isVisible());

    // A frame render superseded by a clip render: only the clip arrives. The worker runs renders
    // and answers in order, so once the clip is shown the earlier answers have been dropped.
    controller.render(clip("A.mov"), workspace->preset(), 0.2, false, QString(), 1);
    controller.render(clip("A.mov"), workspace->preset(), 0.2, true, QString(), 1);
    ASSERT_TRUE(rendered());
    EXPECT_TRUE(controller.image().isEmpty());
    ASSERT_TRUE(controller.result());
    EXPECT_TRUE(controller.result()->endsWith("Test Clip.mp4"));
    EXPECT_EQ(previewFolders(), QStringList { QFileInfo(QFileInfo(*controller.result()).path()).fileName() });
}

} // namespace
