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

using test::TempDir;

TranscodePreset burning(const QString &position, bool filename, bool timecode, const QString &text = {})
{
    TranscodePreset preset = PresetService::defaults().first();
    FinishingOptions finish;
    finish.burnPosition = position;
    finish.burnFilename = filename;
    finish.burnTimecode = timecode;
    finish.burnText = text;
    preset.setFinish(finish);
    return preset;
}

MediaInfo withTimecode(const std::optional<QString> &timecode, const QString &rate = QStringLiteral("25/1"))
{
    MediaInfo info;
    info.width = 320;
    info.height = 180;
    info.duration = 1;
    info.frameRate = rate;
    info.timecode = timecode;
    return info;
}

// Keeps the label folders in a folder of the test's own, so leftovers can be counted.
class BurnInServiceTest : public ::testing::Test {
protected:
    TempDir temporary;
    test::ScopedEnvironment tmpdir{"TMPDIR", temporary.path().toUtf8()};
    QStringList leftovers() const { return QDir(temporary.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot); }
};

struct PositionCase {
    QString position;
    QString x;
    QString labelY;
    QString timecodeY; // with a one-line label at size 28: offset 36
};

class BurnInPositions : public BurnInServiceTest, public ::testing::WithParamInterface<PositionCase> {};

TEST_P(BurnInPositions, PlaceLabelAndTimecodeBesideIt)
{
    const PositionCase &expected = GetParam();
    const BurnInAssets assets = BurnInService::prepare(QStringLiteral("/media/A001/A001C003.mov"),
                                                       burning(expected.position, true, true),
                                                       withTimecode(QStringLiteral("01:00:00:00")));
    ASSERT_EQ(assets.filters.size(), 2);
    ASSERT_TRUE(assets.directory.has_value());
    const QString label = *assets.directory + QStringLiteral("/label.txt");
    EXPECT_TRUE(QDir(*assets.directory).dirName().startsWith(QStringLiteral("vantor-burn-")));
    EXPECT_EQ(test::readFile(label), "A001C003.mov");

    const QString font = QStringLiteral("drawtext=fontfile=") + BurnInService::fontFile()
                         + QStringLiteral(":fontsize=28:fontcolor=white:box=1:boxcolor=black@0.55:boxborderw=8:x=")
                         + expected.x + QStringLiteral(":y=");
    EXPECT_EQ(assets.filters[0], font + expected.labelY + QStringLiteral(":textfile='") + label +
                                     QStringLiteral("':expansion=none"));
    EXPECT_EQ(assets.filters[1], font + expected.timecodeY +
                                     QStringLiteral(":timecode='01\\:00\\:00\\:00':timecode_rate=25"));
    assets.cleanup();
    EXPECT_TRUE(leftovers().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Seven, BurnInPositions,
    ::testing::Values(PositionCase{"Top Left", "24", "24", "24+36"},
                      PositionCase{"Top Center", "(w-tw)/2", "24", "24+36"},
                      PositionCase{"Top Right", "w-tw-24", "24", "24+36"},
                      PositionCase{"Center", "(w-tw)/2", "(h-th)/2", "(h-th)/2-36"},
                      PositionCase{"Bottom Left", "24", "h-th-24", "h-th-24-36"},
                      PositionCase{"Bottom Center", "(w-tw)/2", "h-th-24", "h-th-24-36"},
                      PositionCase{"Bottom Right", "w-tw-24", "h-th-24", "h-th-24-36"}),
    [](const auto &info) {
        QString name = info.param.position;
        return name.remove(QLatin1Char(' ')).toStdString();
    });

TEST_F(BurnInServiceTest, TwoLabelLinesMoveTheTimecodeFurther)
{
    const BurnInAssets assets = BurnInService::prepare(QStringLiteral("/media/clip.mov"),
                                                       burning(QStringLiteral("Bottom Left"), true, true,
                                                               QStringLiteral("Client cut")),
                                                       withTimecode(QStringLiteral("10:00:00;00"),
                                                                    QStringLiteral("30000/1001")));
    ASSERT_EQ(assets.filters.size(), 2);
    EXPECT_EQ(test::readFile(*assets.directory + QStringLiteral("/label.txt")), "clip.mov\nClient cut");
    EXPECT_TRUE(assets.filters[1].contains(QStringLiteral(":y=h-th-24-72:")));
    EXPECT_TRUE(assets.filters[1].contains(QStringLiteral(":timecode='10\\:00\\:00;00':timecode_rate=29.97002997")));
    assets.cleanup();
}

TEST_F(BurnInServiceTest, TimecodeAloneNeedsNoFolderAndSitsAtTheEdge)
{
    TranscodePreset preset = burning(QStringLiteral("Top Left"), false, true);
    EncodingOptions tuning;
    tuning.frameRate = QStringLiteral("50");
    preset.setTuning(tuning);
    const BurnInAssets assets = BurnInService::prepare(QStringLiteral("/media/clip.mov"), preset,
                                                       withTimecode(QStringLiteral("00:59:59:00"), QStringLiteral("0/0")));
    EXPECT_FALSE(assets.directory.has_value());
    ASSERT_EQ(assets.filters.size(), 1);
    EXPECT_TRUE(assets.filters[0].contains(QStringLiteral(":y=24+0:timecode=")));
    EXPECT_TRUE(assets.filters[0].endsWith(QStringLiteral("timecode_rate=50")));
    EXPECT_TRUE(leftovers().isEmpty());
}

TEST_F(BurnInServiceTest, NoBurnInsGiveNoFilters)
{
    const BurnInAssets assets = BurnInService::prepare(QStringLiteral("/media/clip.mov"), PresetService::defaults().first(),
                                                       withTimecode(std::nullopt));
    EXPECT_TRUE(assets.filters.isEmpty());
    EXPECT_FALSE(assets.directory.has_value());
}

struct RefusalCase {
    std::string name;
    std::optional<QString> timecode;
    QString rate;
    QString message;
};

class BurnInRefusals : public BurnInServiceTest, public ::testing::WithParamInterface<RefusalCase> {};

// Refused after the label was written: its folder must go with the error.
TEST_P(BurnInRefusals, RemoveTheLabelFolder)
{
    try {
        BurnInService::prepare(QStringLiteral("/media/clip.mov"), burning(QStringLiteral("Center"), true, true),
                               withTimecode(GetParam().timecode, GetParam().rate));
        FAIL() << "accepted";
    } catch (const VantorError &error) {
        EXPECT_EQ(error.message(), GetParam().message);
    }
    EXPECT_TRUE(leftovers().isEmpty());
}

const QString noTimecode =
    QStringLiteral("Timecode burn-in requires source timecode. Disable it for clips without timecode.");

INSTANTIATE_TEST_SUITE_P(
    Timecode, BurnInRefusals,
    ::testing::Values(RefusalCase{"Missing", std::nullopt, "25/1", noTimecode},
                      RefusalCase{"OneDigitHour", QStringLiteral("1:00:00:00"), "25/1", noTimecode},
                      RefusalCase{"Frames", QStringLiteral("01:00:00:00:00"), "25/1", noTimecode},
                      RefusalCase{"NoRate", QStringLiteral("01:00:00:00"), "0/0",
                                  QStringLiteral("Cannot determine the frame rate for timecode burn-in.")}),
    [](const auto &info) { return info.param.name; });

} // namespace
} // namespace vantor
