// Every write of a job lies inside its grant as well as its root, whatever a hand-edited state
// file says of either.
#include "TempDir.h"
#include "ingest/MediaIngestService.h"
#include "base/VantorError.h"
#include "transcode/TranscodePhase.h"

#include <QFileInfo>
#include <gtest/gtest.h>

using namespace vantor;

namespace {

QString refusalOf(const std::function<void()> &call)
{
    try {
        call();
    } catch (const VantorError &error) {
        return error.message();
    }
    return QStringLiteral("(accepted)");
}

struct GrantCase {
    const char *name;
    QString root;   // relative to the test folder; "/" for the file-system root
    QString grant;
    QString target;
    bool refused;
};

TEST(GrantBounds, WritesOutsideTheGrantAreRefusedNamingPathAndGrant)
{
    const GrantCase cases[] = {
        {"root is / and the target outside the grant", "/", "real", "other/a.bin", true},
        {"root is / and the target inside the grant", "/", "real", "real/sub/a.bin", false},
        {"grant deeper than the root", "real", "real/inner", "real/a.bin", true},
        {"a climb out of the grant", "", "real", "real/../other/b.bin", true},
        {"root deeper than the grant", "real/inner", "real", "real/inner/c.bin", false},
    };
    for (const GrantCase &row : cases) {
        SCOPED_TRACE(row.name);
        const test::TempDir dir;
        const QString source = dir.write(QStringLiteral("card/clip.mov"), "frames");
        dir.makeDir(QStringLiteral("real/inner"));
        dir.makeDir(QStringLiteral("other"));
        const auto at = [&](const QString &relative) {
            return relative == QLatin1String("/") ? relative : dir.path() + u'/' + relative;
        };
        const QString target = at(row.target);
        const SourceFile file = MediaIngestService::scan({source}).front();
        const auto make = [&](bool transcode) {
            return MediaJob::make(file.url, file.grant, at(row.root), FileGrant(at(row.grant)),
                                  transcode ? std::nullopt : std::optional(target),
                                  transcode ? std::optional(target + QStringLiteral(".mov")) : std::nullopt,
                                  transcode ? JobOperation::transcode : JobOperation::copy,
                                  transcode ? std::optional(TranscodePreset()) : std::nullopt,
                                  ChecksumAlgorithm::sha256, file.size, file.modified);
        };
        const QString expected = QStringLiteral("The destination lies outside the folder granted to this job (")
                                 + at(row.grant) + QStringLiteral("): ");
        JobControl control;
        const QString copied = refusalOf([&] { MediaIngestService::copy(make(false), control); });
        EXPECT_EQ(copied, row.refused ? expected + target : QStringLiteral("(accepted)"));
        EXPECT_EQ(QFileInfo::exists(target), !row.refused);
        if (row.refused) {
            // Refused before the engine could run: the message is the same for a transcode.
            EXPECT_EQ(refusalOf([&] { TranscodeService::transcode(make(true), {}, control, {}); }),
                      expected + target + QStringLiteral(".mov"));
            EXPECT_EQ(test::listTree(dir.file(QStringLiteral("other"))), QStringList());
        }
    }
}

} // namespace
