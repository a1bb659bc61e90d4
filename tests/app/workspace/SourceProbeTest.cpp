#include "ClipMaker.h"
#include "WorkspaceHarness.h"

#include "workspace/SourceProbe.h"

#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class SourceProbeTest : public ::testing::Test {
public:
    WorkspaceHarness harness;
    TempDir media;
    Workspace &ws = harness.open();
    SourceProbe probe{ws.queue()};

    bool settled() { return QTest::qWaitFor([&] { return !probe.inspecting(); }, 20000); }
};

TEST_F(SourceProbeTest, ReportsWhatTheEngineFindsOrWhyItCannot)
{
    struct Case {
        const char *name;
        std::function<QString()> make;
        qint64 width; // 0: no picture expected
    };
    const Case cases[] = {
        {"clip", [&] { return makeClip(media.file(QStringLiteral("clip.mov")), {.width = 320, .height = 180}); }, 320},
        {"portrait",
         [&] { return makeClip(media.file(QStringLiteral("tall.mp4")), {.width = 180, .height = 320}); }, 180},
        {"not media", [&] { return media.write(QStringLiteral("notes.mov"), "not a movie"); }, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const QString path = c.make();
        probe.inspect(path);
        EXPECT_TRUE(probe.inspecting());
        ASSERT_TRUE(settled());
        EXPECT_EQ(probe.path(), path);
        EXPECT_EQ(probe.info().has_value(), c.width > 0);
        EXPECT_EQ(probe.sourceError().has_value(), c.width == 0);
        if (c.width > 0)
            EXPECT_EQ(probe.info()->width, c.width);
        else
            EXPECT_FALSE(probe.sourceError()->isEmpty());
    }
}

TEST_F(SourceProbeTest, ANewerSelectionSupersedesTheProbeRunning)
{
    const QString first = makeClip(media.file(QStringLiteral("first.mov")), {.width = 320, .height = 180});
    const QString second = makeClip(media.file(QStringLiteral("second.mov")), {.width = 160, .height = 90});
    QSignalSpy changes(&probe, &SourceProbe::changed);
    probe.inspect(first);
    probe.inspect(second);
    ASSERT_TRUE(settled());
    QTest::qWait(200); // an answer for the first, were it delivered, would arrive meanwhile
    EXPECT_EQ(probe.path(), second);
    ASSERT_TRUE(probe.info().has_value());
    EXPECT_EQ(probe.info()->width, 160);
    EXPECT_EQ(changes.size(), 3); // two requests and one answer

    probe.inspect(QString());
    EXPECT_FALSE(probe.inspecting());
    EXPECT_FALSE(probe.info().has_value());
    EXPECT_TRUE(probe.path().isEmpty());
}

} // namespace
