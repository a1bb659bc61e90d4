// The status line's text from what it was told and when, on a clock the test turns.
#include "ProgressBar.h"

#include <gtest/gtest.h>

using vantor::cli::ProgressBar;

namespace {

struct Step {
    double at; // seconds on the test's clock
    ProgressBar::Snapshot snapshot;
};

struct LineCase {
    const char *name;
    std::vector<Step> steps;
    int width;
    QString line; // after the last step
};
void PrintTo(const LineCase &c, std::ostream *out) { *out << c.name; }

constexpr qint64 MB = 1000 * 1000;
// A card of three files, 400 MB; its first, 200 MB, is copied then verified.
ProgressBar::Snapshot card(const char *phase, double fraction, qint64 done)
{
    const qint64 phaseBytes = QString(phase) == "verify" ? 400 * MB : 200 * MB;
    return {"A001C001.MXF", phase, fraction, phaseBytes, 0, 3, done, 400 * MB, 100 * MB};
}

class StatusLine : public testing::TestWithParam<LineCase> {};

TEST_P(StatusLine, ShowsWhatItWasToldAndWhatFollowsFromIt)
{
    double now = 0;
    ProgressBar bar("", false, [&] { return now; });
    for (const Step &step : GetParam().steps) {
        now = step.at;
        bar.update(step.snapshot);
    }
    EXPECT_EQ(bar.line(GetParam().width), GetParam().line);
    EXPECT_LT(bar.line(GetParam().width).size(), GetParam().width) << "the last column stays free";
}

INSTANTIATE_TEST_SUITE_P(
    Lines, StatusLine,
    testing::Values(
        LineCase{"FractionAlone", {{0, {"clip.mov", {}, 0.5}}}, 40, "clip.mov [###########            ]  50%"},
        // Too early for a speed or a time left.
        LineCase{"FirstReport", {{0, card("copy", 0.0, 0)}, {0.4, card("copy", 0.1, 10 * MB)}}, 100,
                 "copy      A001C001.MXF [###                           ]  10%  0/3 files  10.0 MB of 400.0 MB"},
        // Half the copy in 2 s: its other half at 50 MB/s (2 s), then the card's other 300 MB at
        // its average so far, 25 MB/s (12 s).
        LineCase{"SpeedAndTimeLeft", {{0, card("copy", 0.0, 0)}, {2, card("copy", 0.5, 50 * MB)}}, 120,
                 "copy      A001C001.MXF [###############               ]  50%  50.0 MB/s  0/3 files  50.0 MB of "
                 "400.0 MB  0:14 left"},
        // The speed is the phase's own: a new phase starts without one, and so without a time left.
        LineCase{"NewPhase",
                 {{0, card("copy", 0.0, 0)}, {4, card("copy", 1.0, 100 * MB)}, {4.2, card("verify", 0.0, 100 * MB)}},
                 120, "verify    A001C001.MXF [                              ]   0%  0/3 files  100.0 MB of 400.0 MB"},
        // Verifying reads source and copy: 10% of a 200 MB file's verify in 1 s is 40 MB/s, and its
        // other 360 MB take 9 s. What the card holds beyond this phase, 400 - 130 - 90 MB, goes
        // at the card's average, 130 MB in 5.2 s: 7.2 s more.
        LineCase{"Verify",
                 {{0, card("copy", 0.0, 0)}, {4, card("copy", 1.0, 100 * MB)}, {4.2, card("verify", 0.0, 100 * MB)},
                  {5.2, card("verify", 0.1, 130 * MB)}},
                 120, "verify    A001C001.MXF [###                           ]  10%  40.0 MB/s  0/3 files  130.0 MB of "
                      "400.0 MB  0:17 left"},
        // Only the last few seconds count: a stall shows at once.
        LineCase{"RecentSpeed",
                 {{0, card("copy", 0.0, 0)}, {1, card("copy", 0.5, 50 * MB)}, {5, card("copy", 0.5, 50 * MB)},
                  {9, card("copy", 0.6, 60 * MB)}},
                 120, "copy      A001C001.MXF [##################            ]  60%  5.0 MB/s  0/3 files  60.0 MB of "
                      "400.0 MB  1:01 left"},
        // Narrower terminals: the file count goes first, then the bytes, then the speed; the bar
        // shrinks and the name is shortened, and the time left last.
        LineCase{"Narrow", {{0, card("copy", 0.0, 0)}, {2, card("copy", 0.5, 50 * MB)}}, 60,
                 "copy      A001C001.MXF [###    ]  50%  50.0 MB/s  0:14 left"},
        LineCase{"VeryNarrow", {{0, card("copy", 0.0, 0)}, {2, card("copy", 0.5, 50 * MB)}}, 30,
                 "copy      A001C00\u2026  50%"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(StatusLine, DurationsReadAsAClock)
{
    const std::pair<double, QString> cases[] = {{0, "0:00"}, {0.2, "0:01"}, {42, "0:42"}, {725, "12:05"}, {3723, "1:02:03"}};
    for (const auto &[seconds, text] : cases)
        EXPECT_EQ(vantor::cli::durationText(seconds), text) << seconds;
}

} // namespace
