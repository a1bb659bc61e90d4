// Burn-in filters and their label files; where the text lands in real frames is checked by the
// preview and transcode tests.
#include "ScopedEnvironment.h"
#include "TempDir.h"
#include "model/VantorError.h"
#include "transcode/BurnInService.h"
#include "transcode/PresetService.h"

#include <QDir>
#include <gtest/gtest.h>

namespace vantor {
namespace {

// Keeps the label folders in a folder of the test's own, so leftovers can be counted.
class BurnInServiceTest : public testing::Test {
protected:
    test::TempDir temporary;
    test::ScopedEnvironment tmpdir { "TMPDIR", temporary.path().toUtf8() };

    BurnInAssets prepare(FinishingOptions finish, const std::optional<QString> &timecode, const QString &rate = "25/1",
        const QString &frameRate = "Source")
    {
        TranscodePreset preset = PresetService::defaults().first();
        preset.setFinish(finish);
        EncodingOptions tuning;
        tuning.frameRate = frameRate;
        preset.setTuning(tuning);
        MediaInfo info;
        info.width = 320, info.height = 180, info.duration = 1, info.frameRate = rate, info.timecode = timecode;
        return BurnInService::prepare("/media/A001/A001C003.mov", preset, info);
    }
    bool clean() const { return QDir(temporary.path()).isEmpty(); }
};

TEST_F(BurnInServiceTest, LabelFileAndTimecodeBesideIt)
{
    const BurnInAssets assets = prepare({ .burnFilename = true, .burnTimecode = true, .burnText = "Client cut", .channelMap = {} }, QString("10:00:00;00"), "30000/1001");
    ASSERT_EQ(assets.filters.size(), 2);
    ASSERT_TRUE(assets.directory.has_value());
    EXPECT_TRUE(QDir(*assets.directory).dirName().startsWith("vantor-burn-"));
    const QString label = *assets.directory + "/label.txt";
    EXPECT_EQ(test::readFile(label), "A001C003.mov\nClient cut");
    const QString font = "drawtext=fontfile=" + BurnInService::fontFile()
        + ":fontsize=28:fontcolor=white:box=1:boxcolor=black@0.55:boxborderw=8:x=24:y=";
    EXPECT_EQ(assets.filters[0], font + "h-th-24:textfile='" + label + "':expansion=none");
    // Two label lines at size 28 push the timecode 72 pixels away from the edge.
    EXPECT_EQ(assets.filters[1], font + "h-th-24-72:timecode='10\\:00\\:00;00':timecode_rate=29.97002997");
    assets.cleanup();
    EXPECT_TRUE(clean());
}

TEST_F(BurnInServiceTest, TimecodeAloneNeedsNoFolderAndSitsAtTheEdge)
{
    const BurnInAssets assets = prepare({ .burnTimecode = true, .burnText = {}, .burnPosition = "Top Left", .channelMap = {} }, QString("00:59:59:00"), "0/0", "50");
    EXPECT_FALSE(assets.directory.has_value());
    ASSERT_EQ(assets.filters.size(), 1);
    EXPECT_TRUE(assets.filters[0].contains(":y=24+0:timecode=")) << assets.filters[0].toStdString();
    EXPECT_TRUE(assets.filters[0].endsWith("timecode_rate=50"));
    EXPECT_TRUE(prepare({}, std::nullopt).filters.isEmpty());
    EXPECT_TRUE(clean());
}

// Refused after the label was written: its folder must go with the error.
TEST_F(BurnInServiceTest, RefusalsRemoveTheLabelFolder)
{
    const QString noTimecode = "Timecode burn-in requires source timecode. Disable it for clips without timecode.";
    for (const auto &[timecode, rate, message] : std::vector<std::tuple<std::optional<QString>, QString, QString>> {
             { std::nullopt, "25/1", noTimecode }, { "1:00:00:00", "25/1", noTimecode }, { "01:00:00:00:00", "25/1", noTimecode },
             { "01:00:00:00", "0/0", "Cannot determine the frame rate for timecode burn-in." } }) {
        try {
            prepare({ .burnFilename = true, .burnTimecode = true, .burnText = {}, .burnPosition = "Center", .channelMap = {} }, timecode, rate);
            ADD_FAILURE() << "accepted " << timecode.value_or("none").toStdString();
        } catch (const VantorError &error) {
            EXPECT_EQ(error.message(), message);
        }
        EXPECT_TRUE(clean());
    }
}

} // namespace
} // namespace vantor
