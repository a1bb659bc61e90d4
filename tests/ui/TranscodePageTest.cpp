#include "ClipMaker.h"
#include "RefusalCheck.h"
#include "UiFixture.h"

#include "pages/BatchSourcesSheet.h"
#include "pages/SavePresetSheet.h"
#include "pages/TranscodePage.h"
#include "Theme.h"
#include "workspace/SourceInspector.h"

#include <QCheckBox>
#include <QComboBox>
#include <QJsonDocument>
#include <QLineEdit>
#include <QListView>
#include <QSpinBox>
#include <QTabWidget>

using namespace vantor;

namespace {

QString json(const TranscodePreset &preset) { return QString::fromUtf8(QJsonDocument(preset.toJson()).toJson()); }

using Change = std::function<void(TranscodePreset &)>;
const Change asIs = [](TranscodePreset &) {};
const Change h264 = [](TranscodePreset &p) { p.codec = Codec::h264; };

Change tuned(const std::function<void(EncodingOptions &)> &change)
{
    return [=](TranscodePreset &p) {
        EncodingOptions options = p.tuning();
        change(options);
        p.setTuning(options);
    };
}

Change finished(const std::function<void(FinishingOptions &)> &change)
{
    return [=](TranscodePreset &p) {
        FinishingOptions options = p.finish();
        change(options);
        p.setFinish(options);
    };
}

Change both(const Change &first, const Change &second)
{
    return [=](TranscodePreset &p) { first(p), second(p); };
}
const Change hardwareH264 = both(h264, finished([](FinishingOptions &f) { f.hardware = true; }));

// A real window on the Transcode page with a chosen output folder and a probed 320 × 180 clip.
class TranscodePageTest : public test::UiTest {
protected:
    QString clip, second, output;
    TranscodePreset base;

    void SetUp() override
    {
        open();
        dir.makeDir("card");
        clip = test::makeClip(dir.file("card/A001C001.mov"));
        second = test::makeClip(dir.file("card/A001C002.mov"));
        output = dir.makeDir("out");
        answers.folders << output;
        click("chooseOutputFolder");
        EXPECT_EQ(answers.asked, QStringList{"Transcode Output Folder"});
        EXPECT_EQ(find<QLabel>("saveTo")->text(), output);
        base = workspace->preset();
    }
    ui::TranscodePage *page() const { return window->findChild<ui::TranscodePage *>(); }

    // Opens the sources as a user does and waits until the first is listed and probed.
    void openSources(const QStringList &paths)
    {
        answers.files << paths;
        click("openSources");
        EXPECT_EQ(answers.asked.last(), "Open Video Sources");
        ASSERT_TRUE(waitUntil([&] { return workspace->sources().size() == std::size_t(paths.size()); }));
        ASSERT_TRUE(waitUntil([&] { return page()->inspector().info().has_value(); }))
            << page()->inspector().sourceError().value_or(QString()).toStdString();
    }

    // Brings the control's tab forward and enters `value` there as a user would.
    void enter(const QString &name, const QString &value)
    {
        auto *control = find<QWidget>(name);
        ASSERT_NE(control, nullptr);
        auto *tabs = find<QTabWidget>("settingsTabs");
        for (int index = 0; index < tabs->count(); ++index) {
            if (tabs->widget(index)->isAncestorOf(control))
                tabs->setCurrentIndex(index);
        }
        ASSERT_TRUE(control->isVisible() && control->isEnabled()) << name.toStdString();
        control->setFocus();
        if (auto *box = qobject_cast<QCheckBox *>(control)) {
            QTest::keyClick(box, Qt::Key_Space);
        } else if (auto *combo = qobject_cast<QComboBox *>(control)) {
            ASSERT_GE(combo->findText(value), 0) << value.toStdString();
            combo->setCurrentIndex(combo->findText(value));
        } else if (auto *spin = qobject_cast<QSpinBox *>(control)) {
            spin->selectAll();
            QTest::keyClicks(spin, value);
            QTest::keyClick(spin, Qt::Key_Return);
        } else if (auto *field = qobject_cast<QLineEdit *>(control)) {
            field->selectAll();
            QTest::keyClicks(field, value);
        }
    }
};

TEST_F(TranscodePageTest, EveryControlChangesItsFieldAndTheQueuedJobCarriesIt)
{
    struct Row {
        const char *control;
        Change prepare;
        const char *value;
        Change expected;
    };
    const Row rows[] = {
        {"maxWidth", asIs, "1280", [](TranscodePreset &p) { p.maxWidth = 1280; }},
        {"maxHeight", asIs, "720", tuned([](auto &t) { t.maxHeight = 720; })},
        {"scalePercent", asIs, "50", [](TranscodePreset &p) { p.scalePercent = 50; }},
        {"rotation", asIs, "90\u00B0", tuned([](auto &t) { t.rotation = 90; })},
        {"flipHorizontal", asIs, "", tuned([](auto &t) { t.flipHorizontal = true; })},
        {"flipVertical", asIs, "", tuned([](auto &t) { t.flipVertical = true; })},
        {"cropTop", asIs, "8", tuned([](auto &t) { t.cropTop = 8; })},
        {"cropBottom", asIs, "8", tuned([](auto &t) { t.cropBottom = 8; })},
        {"cropLeft", asIs, "8", tuned([](auto &t) { t.cropLeft = 8; })},
        {"cropRight", asIs, "8", tuned([](auto &t) { t.cropRight = 8; })},
        {"deinterlace", asIs, "", tuned([](auto &t) { t.deinterlace = true; })},
        {"denoise", asIs, "Medium", tuned([](auto &t) { t.denoise = "Medium"; })},
        {"sharpen", asIs, "", tuned([](auto &t) { t.sharpen = true; })},
        {"grayscale", asIs, "", tuned([](auto &t) { t.grayscale = true; })},
        {"codec", asIs, "H.264", h264},
        {"hardware", h264, "", finished([](auto &f) { f.hardware = true; })},
        {"frameRate", asIs, "25 FPS", tuned([](auto &t) { t.frameRate = "25"; })},
        {"speed", asIs, "slow", tuned([](auto &t) { t.speed = "slow"; })},
        {"rateMode", h264, "Average Bitrate", [](TranscodePreset &p) { p.bitrateMbps = 20; }},
        {"quality", h264, "30", [](TranscodePreset &p) { p.quality = 30; }},
        {"quality", hardwareH264, "80", finished([](auto &f) { f.hardwareQuality = 80; })},
        {"bitrateMbps", both(h264, [](TranscodePreset &p) { p.bitrateMbps = 5; }), "12",
         [](TranscodePreset &p) { p.bitrateMbps = 12; }},
        {"audio", asIs, "AAC", [](TranscodePreset &p) { p.audio = AudioMode::aac; }},
        {"sampleRate", asIs, "96 kHz", [](TranscodePreset &p) { p.sampleRate = 96000; }},
        {"channels", asIs, "Mono", [](TranscodePreset &p) { p.channels = 1; }},
        {"bitDepth", asIs, "16 Bit", [](TranscodePreset &p) { p.bitDepth = 16; }},
        {"audioBitrate", asIs, "128", tuned([](auto &t) { t.audioBitrate = 128; })},
        {"audioGain", asIs, "3", tuned([](auto &t) { t.audioGain = 3; })},
        {"audioTrack", asIs, "Track 2", tuned([](auto &t) { t.audioTrack = 1; })},
        {"channelMap", tuned([](auto &t) { t.audioTrack = 0; }), "2,1", finished([](auto &f) { f.channelMap = "2,1"; })},
        {"subtitles", asIs, "", tuned([](auto &t) { t.subtitles = true; })},
        {"chapters", asIs, "", tuned([](auto &t) { t.chapters = false; })},
        {"preserveMetadata", asIs, "", [](TranscodePreset &p) { p.preserveMetadata = false; }},
        {"burnFilename", asIs, "", finished([](auto &f) { f.burnFilename = true; })},
        {"burnTimecode", asIs, "", finished([](auto &f) { f.burnTimecode = true; })},
        {"burnText", asIs, "ROLL A", finished([](auto &f) { f.burnText = "ROLL A"; })},
        {"burnPosition", asIs, "Top Right", finished([](auto &f) { f.burnPosition = "Top Right"; })},
        {"burnSize", asIs, "40", finished([](auto &f) { f.burnSize = 40; })},
        {"suffix", asIs, "_EDIT", [](TranscodePreset &p) { p.suffix = "_EDIT"; }},
    };
    int made = 0;
    for (const Row &row : rows) {
        SCOPED_TRACE(row.control);
        TranscodePreset expected = base;
        row.prepare(expected);
        workspace->setPreset(expected);
        // A source of its own per row, so the jobs' outputs never collide.
        const QString source = dir.file(QString("card/R%1.mov").arg(++made));
        ASSERT_TRUE(QFile::copy(clip, source));
        openSources({source});
        enter(QString::fromLatin1(row.control), QString::fromUtf8(row.value));
        row.expected(expected);
        EXPECT_EQ(json(workspace->preset()), json(expected));
        const std::size_t before = queue().state().jobs.size();
        click("addToQueue");
        ASSERT_EQ(queue().state().jobs.size(), before + 1) << workspace->error().value_or(QString()).toStdString();
        EXPECT_EQ(json(*queue().state().jobs.back().preset), json(expected));
        EXPECT_TRUE(workspace->sources().empty());
    }
}

TEST_F(TranscodePageTest, RefusedValuesShowTheirMessageBesideTheControlAndQueueNothing)
{
    struct Row {
        const char *control;
        Change prepare;
        const char *value;
        const char *message;
    };
    const Row rows[] = {
        {"cropLeft", asIs, "320", "Crop Exceeds Source Dimensions"},
        {"cropTop", asIs, "3", "Use even, nonnegative crop values and a valid height limit."},
        {"quality", h264, "80", "Invalid resolution, scale, quality or bitrate."},
        {"hardware", asIs, "", "Hardware encoding supports H.264 and HEVC."},
        {"channelMap", asIs, "1,2,3", "Enter 1, 2, 4, 6 or 8 source channel numbers, separated by commas. Channels start at 1."},
        {"suffix", asIs, "a/b", "Use a suffix without \u201C/\u201D, \u201C..\u201D or control characters."},
    };
    openSources({clip});
    for (const Row &row : rows) {
        SCOPED_TRACE(row.control);
        TranscodePreset prepared = base;
        row.prepare(prepared);
        workspace->setPreset(prepared);
        workspace->setError(std::nullopt);
        enter(QString::fromLatin1(row.control), QString::fromUtf8(row.value));
        const QString message = QString::fromUtf8(row.message);
        // The crop fits every rule of its own; only the probed source shows it leaves no picture.
        auto *beside = find<QLabel>(message == QLatin1String("Crop Exceeds Source Dimensions")
                                        ? "cropExceeds"
                                        : QString::fromLatin1(row.control) + "Refusal");
        EXPECT_TRUE(beside->isVisible());
        EXPECT_EQ(beside->text(), message);
        click("addToQueue");
        click("startTranscodes");
        EXPECT_TRUE(queue().state().jobs.empty());
        test::expectRefusal(*this, message);
        EXPECT_EQ(workspace->sources().size(), 1u);
    }
}

TEST_F(TranscodePageTest, ARefusalStaysBesideItsCauseUntilThePresetPasses)
{
    const auto refusal = [&](const char *control) {
        auto *label = find<QLabel>(QString::fromLatin1(control) + "Refusal");
        return label->isHidden() ? QString() : label->text(); // its tab may be in the background
    };
    const QString hardwareRule = "Hardware encoding supports H.264 and HEVC.";
    enter("hardware", QString());
    EXPECT_EQ(refusal("hardware"), hardwareRule);
    enter("maxWidth", "1280");
    EXPECT_EQ(refusal("hardware"), hardwareRule);
    EXPECT_EQ(refusal("maxWidth"), QString());
    enter("codec", "HEVC");
    EXPECT_EQ(refusal("hardware"), QString());
    EXPECT_EQ(refusal("codec"), QString());
}

TEST_F(TranscodePageTest, CaptionsFollowTheDesktopPaletteBetweenLightAndDark)
{
    const QPalette light = QApplication::palette();
    QPalette dark = light;
    dark.setColor(QPalette::Window, QColor(0x20, 0x20, 0x20));
    dark.setColor(QPalette::WindowText, QColor(0xee, 0xee, 0xee));
    const auto shown = [&](const char *name) {
        return find<QLabel>(QString::fromLatin1(name))->palette().color(QPalette::WindowText);
    };
    for (const QPalette &palette : {dark, light}) {
        QApplication::setPalette(palette);
        QCoreApplication::processEvents();
        EXPECT_EQ(shown("frameRateHelp"), ui::Theme::mutedText());
        EXPECT_EQ(shown("cropExceeds"), ui::Theme::errorColour());
        EXPECT_EQ(shown("hardwareRefusal"), ui::Theme::errorColour());
    }
}

TEST_F(TranscodePageTest, HelpTextsFollowTheValuesTheyDescribe)
{
    struct Row {
        const char *label;
        Change preset;
        const char *text;
    };
    const Row rows[] = {
        {"frameRateHelp", asIs, "Original frame timing is preserved."},
        {"frameRateHelp", tuned([](auto &t) { t.frameRate = "50"; }), "Converts to a constant frame rate by dropping or duplicating frames."},
        {"qualityHelp", asIs, "Quality is set by the selected ProRes profile."},
        {"qualityHelp", [](TranscodePreset &p) { p.codec = Codec::dnxSQ; }, "Quality is set by the selected DNxHR profile."},
        {"qualityHelp", h264, "Lower values retain more detail and produce larger files."},
        {"qualityHelp", hardwareH264, "Higher values retain more detail and produce larger files."},
        {"outputDimensions", asIs, "320 \u00D7 180"},
        {"outputDimensions", [](TranscodePreset &p) { p.scalePercent = 50; }, "160 \u00D7 90"},
        {"outputDimensions", tuned([](auto &t) { t.rotation = 90; }), "180 \u00D7 320"},
        {"sourceTimecode", asIs, "Not Present"},
        {"chapterCount", asIs, "0 Chapters In Selected Source"},
    };
    openSources({clip});
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        TranscodePreset changed = base;
        row.preset(changed);
        workspace->setPreset(changed);
        EXPECT_EQ(find<QLabel>(QString::fromLatin1(row.label))->text(), QString::fromUtf8(row.text));
    }
    EXPECT_EQ(find<QLabel>("sourceDimensions")->text(), "320 \u00D7 180");
    EXPECT_EQ(find<QLabel>("transcodeSourceCount")->text(), "1 Files");
}

// A highlighted source is removed, then settings applied to the rest round-trip.
TEST_F(TranscodePageTest, BatchSheetRemovesHighlightedSourcesAndRoundTripsPerSourcePresets)
{
    const QString third = dir.file("card/A001C003.mov");
    ASSERT_TRUE(QFile::copy(clip, third));
    openSources({clip, third, second});
    click("batchSources");
    auto *sheet = window->findChild<ui::BatchSourcesSheet *>();
    ASSERT_NE(sheet, nullptr);
    const auto press = [&](const char *name) { clickIn(sheet, name); };
    auto *list = findIn<QListView>(sheet, "batchSources");
    const auto rowText = [&](int row) { return list->model()->index(row, 0).data().toString(); };
    const auto overrides = [&] { return find<QLabel>("summaryOverrides")->text(); };

    list->setCurrentIndex(list->model()->index(1, 0));
    press("batchSelect");
    press("batchRemove");
    ASSERT_EQ(workspace->sources().size(), 2u);
    EXPECT_EQ(workspace->sources().front().url, clip);
    EXPECT_EQ(workspace->sources().back().url, second);
    EXPECT_EQ(find<QLabel>("transcodeSourceCount")->text(), "2 Files");

    press("batchSelectAll");
    press("batchApply");
    EXPECT_EQ(workspace->sourcePresets().size(), 2u);
    EXPECT_EQ(json(workspace->sourcePresets().value(clip)), json(base));
    EXPECT_EQ(overrides(), "2 Custom Overrides");
    EXPECT_EQ(rowText(1), "A001C002.mov \u00B7 " + base.displayName());

    press("batchGlobal");
    EXPECT_TRUE(workspace->sourcePresets().isEmpty());
    EXPECT_EQ(overrides(), "0 Custom Overrides");
    EXPECT_EQ(rowText(0), "A001C001.mov \u00B7 Global Settings");

    // The first source keeps what was current when applied; the second takes the later controls.
    TranscodePreset captured = base, later = base;
    captured.maxWidth = 640;
    later.maxWidth = 800;
    workspace->setPreset(captured);
    list->model()->setData(list->model()->index(1, 0), Qt::Unchecked, Qt::CheckStateRole);
    press("batchApply");
    workspace->setPreset(later);
    press("batchDone");
    click("addToQueue");
    ASSERT_EQ(queue().state().jobs.size(), 2u) << workspace->error().value_or(QString()).toStdString();
    EXPECT_EQ(json(*queue().state().jobs[0].preset), json(captured));
    EXPECT_EQ(json(*queue().state().jobs[1].preset), json(later));
    EXPECT_TRUE(workspace->sourcePresets().isEmpty());
}

TEST_F(TranscodePageTest, PresetRowPicksReloadsAndSavesPresets)
{
    const std::vector<TranscodePreset> stored = queue().state().presets;
    auto *picker = find<QComboBox>("presetPicker");
    picker->setCurrentIndex(2);
    Q_EMIT picker->activated(2);
    EXPECT_EQ(workspace->preset().id, stored[2].id);
    enter("maxWidth", "640");
    EXPECT_EQ(workspace->preset().maxWidth, 640);
    click("reloadPreset");
    EXPECT_EQ(json(workspace->preset()), json(stored[2]));
    EXPECT_EQ(find<QSpinBox>("maxWidth")->value(), stored[2].maxWidth);

    struct Save {
        const char *name;
        bool stored;
    };
    for (const Save &attempt : {Save{"", false}, Save{"Dailies 2K", true}}) {
        SCOPED_TRACE(attempt.name);
        click("saveNewPreset");
        auto *sheet = window->findChild<ui::SavePresetSheet *>();
        ASSERT_NE(sheet, nullptr);
        QTest::keyClicks(sheet->findChild<QLineEdit *>("presetName"), QString::fromUtf8(attempt.name));
        QTest::mouseClick(sheet->findChild<QAbstractButton *>("savePresetSave"), Qt::LeftButton);
        EXPECT_EQ(queue().state().presets.size(), stored.size() + (attempt.stored ? 1 : 0));
        if (!attempt.stored) {
            // The sheet shows the workspace's own refusal; its wording is checked by WorkspaceRefusal.
            EXPECT_EQ(findIn<QLabel>(sheet, "savePresetError")->text(), workspace->error().value_or("(none)"));
            QTest::mouseClick(sheet->findChild<QAbstractButton *>("savePresetCancel"), Qt::LeftButton);
        }
        QTest::qWait(0); // the closed sheet is deleted later
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    EXPECT_EQ(workspace->preset().name, "Dailies 2K");
    EXPECT_EQ(picker->currentText(), workspace->preset().displayName());
}

TEST_F(TranscodePageTest, QueueControlFollowsThePausedState)
{
    click("pauseQueue");
    EXPECT_TRUE(queue().paused());
    EXPECT_EQ(find<QAbstractButton>("pauseQueue")->text(), "Resume");
    click("pauseQueue");
    EXPECT_FALSE(queue().paused());
    EXPECT_EQ(find<QAbstractButton>("pauseQueue")->text(), "Pause");
    click("showQueue");
    EXPECT_EQ(workspace->page(), Page::queue);
}

} // namespace
