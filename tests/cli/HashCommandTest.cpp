#include "ChildProcess.h"
#include "TempDir.h"

#include <gtest/gtest.h>

using namespace vantor::test;

TEST(HashCommand, PrintsOneLinePerFileInEachAlgorithm)
{
    TempDir dir;
    const QString abc = dir.write(QStringLiteral("abc"), "abc");
    const QString empty = dir.write(QStringLiteral("my clip.mov"), {});
    const struct {
        QStringList options;
        QString abc;
        QString empty;
    } cases[] = {
        {{}, QStringLiteral("44bc2cf5ad770999"), QStringLiteral("ef46db3751d8e999")},
        {{QStringLiteral("-a"), QStringLiteral("MD5")},
         QStringLiteral("900150983cd24fb0d6963f7d28e17f72"), QStringLiteral("d41d8cd98f00b204e9800998ecf8427e")},
        {{QStringLiteral("--algorithm=SHA-256")},
         QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"),
         QStringLiteral("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855")},
    };
    for (const auto &c : cases) {
        const ProcessResult result = runVantor(QStringList{QStringLiteral("hash")} + c.options + QStringList{abc, empty});
        EXPECT_EQ(result.exitCode, 0) << result.errText().toStdString();
        EXPECT_EQ(result.outText(), c.abc + QStringLiteral("  ") + abc + QLatin1Char('\n') + c.empty +
                                        QStringLiteral("  ") + empty + QLatin1Char('\n'));
        EXPECT_TRUE(result.err.isEmpty());
    }
}

TEST(HashCommand, UnreadableFileIsReportedAndTheOthersStillPrint)
{
    TempDir dir;
    const QString abc = dir.write(QStringLiteral("abc"), "abc");
    const QString missing = dir.file(QStringLiteral("missing"));
    const ProcessResult result = runVantor({QStringLiteral("hash"), missing, dir.path(), abc});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.outText(), QStringLiteral("44bc2cf5ad770999  ") + abc + QLatin1Char('\n'));
    EXPECT_EQ(result.errText(), QStringLiteral("vantor: %1: No such file or directory\nvantor: %2: Is a directory\n")
                                    .arg(missing, dir.path()));
}

TEST(HashCommand, UnknownAlgorithmOrNoFileIsAUsageError)
{
    TempDir dir;
    const QString abc = dir.write(QStringLiteral("abc"), "abc");
    for (const QStringList &arguments : {QStringList{QStringLiteral("-a"), QStringLiteral("sha256"), abc},
                                         QStringList{QStringLiteral("-a"), QStringLiteral("xxhash64"), abc},
                                         QStringList{}}) {
        const ProcessResult result = runVantor(QStringList{QStringLiteral("hash")} + arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments.join(QLatin1Char(' ')).toStdString();
        EXPECT_TRUE(result.out.isEmpty());
        EXPECT_TRUE(result.errText().startsWith(QStringLiteral("vantor: "))) << result.errText().toStdString();
    }
}
