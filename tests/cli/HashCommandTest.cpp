#include "ChildProcess.h"
#include "TempDir.h"

#include <gtest/gtest.h>

using namespace vantor::test;

TEST(HashCommand, OneLinePerFileAndEachUnreadableFileOnStderr)
{
    TempDir dir;
    const QString abc = dir.write(QStringLiteral("abc"), "abc");
    const QString empty = dir.write(QStringLiteral("my clip.mov"), {});
    const struct {
        QStringList options;
        const char *abc, *empty;
    } cases[] = {
        {{}, "44bc2cf5ad770999", "ef46db3751d8e999"},
        {{QStringLiteral("-a"), QStringLiteral("MD5")}, "900150983cd24fb0d6963f7d28e17f72", "d41d8cd98f00b204e9800998ecf8427e"},
        {{QStringLiteral("--algorithm=SHA-256")}, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
         "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    };
    for (const auto &c : cases) {
        const ProcessResult result = runVantor(QStringList{QStringLiteral("hash")} + c.options + QStringList{abc, empty});
        EXPECT_EQ(result.exitCode, 0) << result.errText().toStdString();
        EXPECT_EQ(result.outText(), QStringLiteral("%1  %2\n%3  %4\n").arg(QLatin1String(c.abc), abc, QLatin1String(c.empty), empty));
        EXPECT_TRUE(result.err.isEmpty());
    }

    const QString missing = dir.file(QStringLiteral("missing"));
    const ProcessResult result = runVantor({QStringLiteral("hash"), missing, dir.path(), abc});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.outText(), QStringLiteral("44bc2cf5ad770999  ") + abc + QLatin1Char('\n'));
    EXPECT_EQ(result.errText(), QStringLiteral("vantor: %1: No such file or directory\nvantor: %2: Is a directory\n").arg(missing, dir.path()));
}
