#include "ChildProcess.h"
#include "TempDir.h"

#include <gtest/gtest.h>

using namespace vantor::test;

TEST(HashCommand, OneLinePerFileAndEachUnreadableFileOnStderr)
{
    TempDir dir;
    const QString abc = dir.write("abc", "abc"), empty = dir.write("my clip.mov", {});
    const std::tuple<QStringList, QString, QString> cases[] = {
        {{}, "44bc2cf5ad770999", "ef46db3751d8e999"},
        {{"-a", "MD5"}, "900150983cd24fb0d6963f7d28e17f72", "d41d8cd98f00b204e9800998ecf8427e"},
        {{"--algorithm=SHA-256"}, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
         "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
    };
    for (const auto &[options, abcDigest, emptyDigest] : cases) {
        const ProcessResult result = runVantor(QStringList{"hash"} + options + QStringList{abc, empty});
        EXPECT_EQ(result.exitCode, 0) << result.errText().toStdString();
        EXPECT_EQ(result.outText(), QString("%1  %2\n%3  %4\n").arg(abcDigest, abc, emptyDigest, empty));
        EXPECT_TRUE(result.err.isEmpty());
    }
    const QString missing = dir.file("missing");
    const ProcessResult result = runVantor({"hash", missing, dir.path(), abc});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.outText(), "44bc2cf5ad770999  " + abc + '\n');
    EXPECT_EQ(result.errText(), QString("vantor: %1: No such file or directory\nvantor: %2: Is a directory\n").arg(missing, dir.path()));
}
