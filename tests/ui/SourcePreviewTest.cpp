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
        test::makeClip(
            clip(QStringLiteral("A.mov")), { .seconds = 1, .timecode = QStringLiteral("01:00:00:00") });
        const QString subtitles
            = clips->write(QStringLiteral("B.srt"), "1\n00:00:00,000 --> 00:00:00,400\nHello\n");
        const QString chapters = clips->write(QStringLiteral("B.txt"),
            ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\n"
            "END=500\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=500\nEND=1000\n");
        test::makeClip(clip(QStringLiteral("B.mkv")),
            { .width = 640,
                .height = 360,
                .seconds = 1,
                .rate = QStringLiteral("30000/1001"),
                .audioChannels = 0,
                .extraInputs = { QStringLiteral("-i"), subtitles, QStringLiteral("-i"), chapters },
                .extraArguments = { QStringLiteral("-map"), QStringLiteral("0:v"), QStringLiteral("-map"),
                    QStringLiteral("1:s"), QStringLiteral("-map_chapters"), QStringLiteral("2") } });
        test::makeClip(clip(QStringLiteral("C.nut")), { .seconds = 1, .audioChannels = 0 });
        test::runFfmpeg({ QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
            QStringLiteral("sine=duration=0.5"), clip(QStringLiteral("tone.wav")) });
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
        workspace->setPreset(TranscodePreset(QUuid::createUuid(), QStringLiteral("Proxy"), Codec::h264,
            QStringLiteral("mp4"), 0, 100, 23, 8, AudioMode::none, 48000, 24, 0, QStringLiteral("_proxy")));
        host = std::make_unique<QWidget>();
        inspector = new SourceInspector(*workspace, host.get());
        new ui::SourceInspectorPanel(*workspace, *inspector, host.get());
        host->show(); // the player loads only what can be seen
        workspace->receive({ clip(QStringLiteral("A.mov")), clip(QStringLiteral("B.mkv")),
                               clip(QStringLiteral("tone.wav")) },
            Page::transcode);
        ASSERT_TRUE(waitUntil([&] { return !workspace->scanning() && workspace->sources().size() == 3; }));
        ASSERT_TRUE(inspected());
    }
    void TearDown() override { host.reset(); }

    bool inspected()
    {
        return waitUntil([&] { return !inspector->inspecting(); });
    }
    template <typename T = QLabel> T *shown(const QString &name)
    {
        T *found = host->findChild<T *>(name);
        EXPECT_NE(found, nullptr) << name.toStdString();
        return found;
    }
    QString row(const QString &name) { return shown(name)->text(); }
    QStringList previewFolders() const
    {
        return QDir(temporary.path()).entryList({ QStringLiteral("vantor-preview-*") }, QDir::Dirs);
    }
};

TEST_F(SourcePreviewTest, SelectingASourceFillsTheSummary)
{
    struct Case {
        QString source;
        std::function<void(TranscodePreset &)> edit;
        QMap<QString, QString> rows;
        QStringList subtitleCodecs; // what the probe found, for the Subtitles and Chapters tabs
        int chapters;
    };
    const QList<Case> cases {
        { QStringLiteral("A.mov"), [](TranscodePreset &) {},
            { { QStringLiteral("summaryFormat"), QStringLiteral("MP4") },
                { QStringLiteral("summaryVideo"), QStringLiteral("H.264 · 320 × 180") },
                { QStringLiteral("summaryAudio"), QStringLiteral("No audio") },
                { QStringLiteral("summarySource"), QStringLiteral("h264 · 320 × 180") },
                { QStringLiteral("summaryFrameRate"), QStringLiteral("Same As 25 FPS") },
                { QStringLiteral("summaryTimecode"), QStringLiteral("01:00:00:00") },
                { QStringLiteral("summaryOutputName"), QStringLiteral("A_proxy.mp4") },
                { QStringLiteral("summaryEstimatedOutput"), QStringLiteral("About 1.0 MB") } },
            {}, 0 },
        { QStringLiteral("B.mkv"),
            [](TranscodePreset &preset) {
                EncodingOptions tuning = preset.tuning();
                tuning.frameRate = QStringLiteral("24");
                preset.setTuning(tuning);
                preset.scalePercent = 50;
                preset.audio = AudioMode::aac;
                preset.container = QStringLiteral("mov");
            },
            { { QStringLiteral("summaryFormat"), QStringLiteral("MOV") },
                { QStringLiteral("summaryVideo"), QStringLiteral("H.264 · 320 × 180") },
                { QStringLiteral("summaryAudio"), QStringLiteral("AAC · 256 kbps") },
                { QStringLiteral("summarySource"), QStringLiteral("h264 · 640 × 360") },
                { QStringLiteral("summaryFrameRate"), QStringLiteral("24 FPS") },
                { QStringLiteral("summaryTimecode"), QStringLiteral("Not Present") },
                { QStringLiteral("summaryOutputName"), QStringLiteral("B_proxy.mov") } },
            { QStringLiteral("ass") }, 2 },
        { QStringLiteral("tone.wav"), [](TranscodePreset &) {},
            { { QStringLiteral("summarySource"),
                  QStringLiteral(
                      "No supported video stream in tone.wav. Use Copy & organize for audio and sidecars.") },
                { QStringLiteral("summaryTimecode"), QStringLiteral("Not Present") },
                { QStringLiteral("summaryEstimatedOutput"), QStringLiteral("Unknown") } },
            {}, 0 },
    };
    const TranscodePreset original = workspace->preset();
    for (const Case &entry : cases) {
        SCOPED_TRACE(entry.source.toStdString());
        TranscodePreset preset = original;
        entry.edit(preset);
        workspace->setPreset(preset);
        inspector->select(clip(entry.source));
        EXPECT_EQ(row(QStringLiteral("summarySource")), QStringLiteral("Inspecting\u2026"));
        ASSERT_TRUE(inspected());
        for (auto it = entry.rows.begin(); it != entry.rows.end(); ++it)
            EXPECT_EQ(row(it.key()), it.value()) << it.key().toStdString();
        const std::optional<MediaInfo> &info = inspector->info();
        EXPECT_EQ(info ? info->subtitleTracks : QStringList(), entry.subtitleCodecs);
        EXPECT_EQ(info ? info->chapterCount : 0, entry.chapters);
        EXPECT_EQ(shown(QStringLiteral("sourceError"))->isVisibleTo(host.get()),
            entry.source == QLatin1String("tone.wav"));
    }
    EXPECT_EQ(row(QStringLiteral("summarySources")), QStringLiteral("3 Sources"));
}

TEST_F(SourcePreviewTest, TheSummaryFollowsSelectionPresetsAndSources)
{
    inspector->select(clip(QStringLiteral("B.mkv")));
    inspector->select(clip(QStringLiteral("A.mov")));
    // The inspection ends with the newer source's answer.
    ASSERT_TRUE(waitUntil([&] { return !inspector->inspecting(); }));
    EXPECT_EQ(row(QStringLiteral("summarySource")), QStringLiteral("h264 · 320 × 180"));

    // An edit of the current preset shows at once; a source's own preset wins over it.
    TranscodePreset preset = workspace->preset();
    preset.bitrateMbps = 16;
    workspace->setPreset(preset);
    EXPECT_EQ(row(QStringLiteral("summaryEstimatedOutput")), QStringLiteral("About 2.0 MB"));
    preset.suffix = QStringLiteral("_own");
    workspace->setSourcePreset(clip(QStringLiteral("A.mov")), preset);
    EXPECT_EQ(row(QStringLiteral("summaryOutputName")), QStringLiteral("A_own.mp4"));
    EXPECT_EQ(row(QStringLiteral("summaryOverrides")), QStringLiteral("1 Custom Overrides"));

    // Removing the shown source moves the Summary to the first one left.
    std::vector<SourceFile> rest(workspace->sources().begin() + 1, workspace->sources().end());
    workspace->setSources(rest);
    EXPECT_EQ(inspector->selected(), clip(QStringLiteral("B.mkv")));
    ASSERT_TRUE(inspected());
    EXPECT_EQ(row(QStringLiteral("summarySource")), QStringLiteral("h264 · 640 × 360"));
    workspace->setSources({});
    EXPECT_EQ(row(QStringLiteral("summarySource")), QStringLiteral("No Source Selected"));
    EXPECT_EQ(shown<QStackedWidget>(QStringLiteral("sourcePreview"))->currentWidget()->objectName(),
        QStringLiteral("sourcePreviewPlaceholder"));
}

TEST_F(SourcePreviewTest, ThePlayerShowsWhatItCanPlayAndAnEngineStillOtherwise)
{
    auto *preview = shown<QStackedWidget>(QStringLiteral("sourcePreview"));
    auto *player = host->findChild<QMediaPlayer *>();
    ASSERT_NE(player, nullptr);
    EXPECT_TRUE(waitUntil([&] { return player->mediaStatus() == QMediaPlayer::LoadedMedia; }))
        << player->errorString().toStdString();
    EXPECT_NE(preview->currentWidget()->findChild<QWidget *>(QStringLiteral("sourceVideo")), nullptr);

    inspector->select(clip(QStringLiteral("C.nut")));
    ASSERT_TRUE(inspected());
    // The player is given a few seconds to open the file before the engine's still replaces it.
    EXPECT_TRUE(QTest::qWaitFor([&] { return !shown(QStringLiteral("sourceStill"))->pixmap().isNull(); }, 30000));
    EXPECT_TRUE(shown(QStringLiteral("previewUnavailable"))->isVisibleTo(host.get()));
    EXPECT_EQ(shown(QStringLiteral("previewUnavailable"))->text(),
        QStringLiteral("Preview Unavailable For This Format"));
}

class ProcessedPreviewTest : public SourcePreviewTest {
protected:
    std::unique_ptr<ui::ProcessedPreviewSheet> sheet;

    void SetUp() override
    {
        SourcePreviewTest::SetUp();
        inspector->select(clip(QStringLiteral("A.mov")));
        ASSERT_TRUE(inspected());
        sheet = std::make_unique<ui::ProcessedPreviewSheet>(*workspace, *inspector, host.get());
        sheet->show();
    }
    void TearDown() override
    {
        sheet.reset();
        SourcePreviewTest::TearDown();
    }
    template <typename T = QLabel> T *inSheet(const QString &name)
    {
        T *found = sheet->findChild<T *>(name);
        EXPECT_NE(found, nullptr) << name.toStdString();
        return found;
    }
    void press(const QString &name)
    {
        auto *button = inSheet<QAbstractButton>(name);
        ASSERT_TRUE(button && button->isVisible() && button->isEnabled()) << name.toStdString();
        QTest::mouseClick(button, Qt::LeftButton);
    }
    bool rendered()
    {
        return waitUntil([&] { return !sheet->controller().busy(); });
    }
    QImage frame() { return QImage::fromData(sheet->controller().image(), "PNG"); }
    void setBurnIns(bool on)
    {
        TranscodePreset preset = workspace->preset();
        FinishingOptions finish = preset.finish();
        finish.burnFilename = finish.burnTimecode = on;
        preset.setFinish(finish);
        workspace->setPreset(preset);
    }
};

TEST_F(ProcessedPreviewTest, AFrameRenderShowsTheProcessedPictureUntilTheSheetCloses)
{
    EXPECT_EQ(inSheet(QStringLiteral("previewPlaceholder"))->text(),
        QStringLiteral("Render A Frame Or A Five-Second Test Clip"));
    inSheet<QSlider>(QStringLiteral("previewPosition"))->setValue(5);
    EXPECT_EQ(inSheet(QStringLiteral("previewPositionText"))->text(), QStringLiteral("0.5s"));
    EXPECT_EQ(
        inSheet(QStringLiteral("previewEstimate"))->text(), QStringLiteral("Estimated Output: About 1.0 MB"));

    press(QStringLiteral("renderFrame"));
    EXPECT_TRUE(inSheet<QAbstractButton>(QStringLiteral("cancelPreview"))->isVisible());
    ASSERT_TRUE(rendered());
    const QImage plain = frame();
    EXPECT_EQ(plain.size(), QSize(320, 180));
    EXPECT_FALSE(inSheet(QStringLiteral("previewImage"))->pixmap().isNull());
    EXPECT_EQ(inSheet(QStringLiteral("previewDetail"))->text(), QStringLiteral("Frame at 0.5s"));
    EXPECT_FALSE(inSheet<QAbstractButton>(QStringLiteral("cancelPreview"))->isVisible());

    // With the file name and timecode burned in, the same frame differs; the earlier render's
    // file goes once the new one is shown.
    setBurnIns(true);
    press(QStringLiteral("renderFrame"));
    ASSERT_TRUE(rendered());
    EXPECT_EQ(frame().size(), plain.size());
    EXPECT_NE(frame(), plain);
    const std::optional<QString> result = sheet->controller().result();
    ASSERT_TRUE(result && QFileInfo::exists(*result));
    EXPECT_EQ(previewFolders().size(), 1);

    press(QStringLiteral("showPreviewInFileManager"));
    EXPECT_EQ(desktop.revealed, QStringList { *result });

    press(QStringLiteral("donePreview"));
    EXPECT_FALSE(sheet->isVisible());
    EXPECT_FALSE(QFileInfo::exists(*result));
    EXPECT_TRUE(previewFolders().isEmpty());
    EXPECT_TRUE(sheet->controller().image().isEmpty());
}

TEST_F(ProcessedPreviewTest, ATestClipReportsItsSizeEstimate)
{
    press(QStringLiteral("encodeClip"));
    ASSERT_TRUE(rendered());
    ASSERT_TRUE(sheet->controller().result());
    EXPECT_EQ(QFileInfo(*sheet->controller().result()).fileName(), QStringLiteral("Test Clip.mp4"));
    EXPECT_EQ(inSheet(QStringLiteral("previewMessage"))->text(),
        QStringLiteral("Test clip encoded successfully. Use Show In File Manager to inspect this format in "
                       "your editor."));
    const QString detail = inSheet(QStringLiteral("previewDetail"))->text();
    EXPECT_TRUE(detail.contains(QStringLiteral(" · Full Clip ≈ "))
        && detail.endsWith(QStringLiteral(" (Sample Estimate)")))
        << detail.toStdString();
    sheet->close();
    EXPECT_TRUE(previewFolders().isEmpty());
}

TEST_F(ProcessedPreviewTest, CancelledAndSupersededRendersAreDropped)
{
    PreviewController &controller = sheet->controller();
    press(QStringLiteral("renderFrame"));
    press(QStringLiteral("cancelPreview"));
    EXPECT_FALSE(controller.busy());
    EXPECT_FALSE(inSheet<QAbstractButton>(QStringLiteral("cancelPreview"))->isVisible());

    // A frame render superseded by a clip render: only the clip arrives. The worker runs renders
    // and answers in order, so once the clip is shown the earlier answers have been dropped.
    controller.render(clip(QStringLiteral("A.mov")), workspace->preset(), 0.2, false, QString(), 1);
    controller.render(clip(QStringLiteral("A.mov")), workspace->preset(), 0.2, true, QString(), 1);
    ASSERT_TRUE(rendered());
    EXPECT_TRUE(controller.image().isEmpty());
    ASSERT_TRUE(controller.result());
    EXPECT_TRUE(controller.result()->endsWith(QStringLiteral("Test Clip.mp4")));
    EXPECT_EQ(previewFolders(), QStringList { QFileInfo(QFileInfo(*controller.result()).path()).fileName() });
}

} // namespace
