// The habits every command shares: help on stdout, usage mistakes exit 2 and refusals exit 1 with
// one "vantor: " line on stderr, nothing on stdout, nothing written, and a state file that does not
// load never written over.
#include "CliTest.h"

using namespace vantor::test;

namespace {

TEST(CommandFrame, HelpAndVersion)
{
    const ProcessResult overview = runVantor({"--help"});
    EXPECT_EQ(overview.exitCode, 0);
    EXPECT_TRUE(overview.outText().startsWith("Usage: vantor") && overview.err.isEmpty());
    const QStringList lines = overview.outText().split(u'\n');
    const qsizetype first = lines.indexOf("Commands:") + 1;
    ASSERT_GT(first, 0);
    for (qsizetype i = first; i < lines.size() && !lines[i].isEmpty(); ++i) {
        const QString command = lines[i].trimmed().section(u' ', 0, 0);
        const ProcessResult help = runVantor({command, "--help"});
        EXPECT_EQ(help.exitCode, 0) << command.toStdString();
        EXPECT_TRUE(help.outText().startsWith("Usage: vantor " + command + u' ')) << help.outText().toStdString();
    }
    const ProcessResult version = runVantor({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(version.outText().startsWith("vantor ") && version.outText().count(u'\n') == 1);
}

struct Call {
    QStringList arguments; // "%D" is a folder holding a project "existing" and a link "link" to it
    int exitCode;
    QString error; // the first line of stderr
    bool unreadableState = false; // runs on a state file that does not load, which must stay as it is
};

class Refusals : public CliTest, public testing::WithParamInterface<Call> {};

TEST_P(Refusals, SayWhyOnStderrAndWriteNothing)
{
    const QString work = dir.makeDir("work");
    dir.write("work/existing/Project.vantor", "{}");
    QFile::link(work + "/existing", work + "/link");
    const QStringList before = listTree(work);
    const QByteArray broken = "{\"jobs\": 7}";
    if (GetParam().unreadableState)
        dir.write("support/state.json", broken);
    const ProcessResult result = vantor(QStringList(GetParam().arguments).replaceInStrings("%D", work));
    EXPECT_EQ(result.exitCode, GetParam().exitCode);
    const QStringList lines = result.errText().split(u'\n');
    EXPECT_EQ(lines[0], QString(GetParam().error).replace("%D", work));
    // A usage mistake points at the help; a refusal is its one line.
    EXPECT_TRUE(GetParam().exitCode != 2 || (lines.value(1).startsWith("Try 'vantor ") && lines.value(1).endsWith(" for more information.")));
    EXPECT_EQ(lines.size(), GetParam().exitCode == 2 ? 3 : 2) << result.errText().toStdString();
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_EQ(listTree(work), before);
    if (GetParam().unreadableState) {
        EXPECT_EQ(readFile(support + "/state.json"), broken);
    }
}

const QStringList create{"project", "create", "-t", "Commercial"};
const QStringList review{"transcode", "-p", "Review File"};
const QString suffix = "vantor: --suffix is part of a file name: use no “/”, “..” or control characters.";
const QString unreadable = "vantor: Saved state could not be read. The original state.json has been preserved. "
                           "AppState.version: missing required key";
INSTANTIATE_TEST_SUITE_P(Calls, Refusals, testing::Values(
    Call{{"frobnicate"}, 2, "vantor: unknown command: frobnicate"},
    Call{{"--frobnicate"}, 2, "vantor: unknown option: --frobnicate"},
    Call{{"--self-test", "now"}, 2, "vantor: --self-test takes no arguments"},
    Call{{"hash", "-a", "sha256", "x"}, 2, "vantor: unknown algorithm \"sha256\" (choose xxHash64, MD5 or SHA-256)"},
    Call{{"scan"}, 2, "vantor: no path given"},
    Call{{"copy", "--no-verify", "-a", "MD5", "%D/a", "%D/b"}, 2, "vantor: --algorithm and --no-verify exclude each other"},
    Call{{"probe"}, 2, "vantor: Name at least one file to probe."},
    Call{{"presets", "extra"}, 2, "vantor: presets takes no arguments."},
    Call{{"transcode", "-p", "Dailies", "%D/x.mov"}, 2,
         "vantor: --preset names no preset “Dailies”. The presets are: Editorial Proxy, Review File, Client Review, "
         "YouTube Master, Festival Screener, ProRes Master, Archive Master."},
    Call{review + QStringList{"--scale", "-5", "%D/x.mov"}, 2, "vantor: --scale takes a whole number from 1 to 100, not \"-5\"."},
    Call{review + QStringList{"--width", "1", "%D/x.mov"}, 2,
         "vantor: --width takes 0 (no limit) or a whole number from 16 to 16384, not \"1\"."},
    Call{review + QStringList{"--speed", "x", "%D/x.mov"}, 2,
         "vantor: --speed takes ultrafast, fast, medium, slow or veryslow, not \"x\"."},
    Call{review + QStringList{"--suffix", "/sub", "%D/x.mov"}, 2, suffix},
    Call{review + QStringList{"--suffix", "_..", "%D/x.mov"}, 2, suffix},
    Call{review + QStringList{"--suffix", "_\t", "%D/x.mov"}, 2, suffix},
    Call{{"preview", "-p", "Review File", "--at", "nan", "%D/x.mov"}, 2, "vantor: --at takes a position in seconds from 0, not \"nan\"."},
    Call{{"preview", "-p", "Review File", "--at", "-1", "%D/x.mov"}, 2, "vantor: --at takes a position in seconds from 0, not \"-1\"."},
    Call{{"preview", "-p", "Review File", "--at", "inf", "%D/x.mov"}, 2, "vantor: --at takes a position in seconds from 0, not \"inf\"."},
    Call{{"ingest", "-p", "Dailies", "--project", "%D/existing", "%D"}, 2,
         "vantor: --preset names no preset “Dailies”. The presets are: Editorial Proxy, Review File, Client Review, "
         "YouTube Master, Festival Screener, ProRes Master, Archive Master."},
    Call{{"ingest", "--project", "%D/missing", "%D/existing"}, 1, "vantor: The project folder does not exist: %D/missing"},
    Call{{"copy", "%D/existing/Project.vantor", "%D/missing/x.mov"}, 1, "vantor: %D/missing: No such file or directory"},
    Call{{"copy", "%D/gone.mov", "%D/x.mov"}, 1, "vantor: %D/gone.mov: No such file or directory"},
    Call{{"copy", "", "%D/x.mov"}, 2, "vantor: The SOURCE is an empty path."},
    Call{{"copy", "%D/existing/Project.vantor", ""}, 2, "vantor: The TARGET is an empty path."},
    Call{{"scan", "%D/missing"}, 1, "vantor: %D/missing: No such file or directory"},
    Call{{"queue", "report", "%D/existing"}, 1, "vantor: %D/existing: Is a directory"},
    Call{create + QStringList{"-n", "Doc", "%D/missing"}, 1, "vantor: %D/missing: No such file or directory"},
    Call{{"project", "create", "-t", "Nope", "-n", "Doc", "%D"}, 2,
         "vantor: --template names no template “Nope”. Run 'vantor project templates' for the list."},
    Call{{"transcode", "-p", "Review File", "-o", "%D/none", "%D/existing/Project.vantor"}, 1,
         "vantor: Select an available, real destination folder: %D/none"},
    Call{{"preview"}, 2, "vantor: preview takes one SOURCE."},
    Call{{"transcode", "-p", "Review File", "--crop", "1:2:3", "%D/x.mov"}, 2,
         "vantor: --crop takes four pixel counts as TOP:BOTTOM:LEFT:RIGHT, not \"1:2:3\"."},
    Call{{"preview", "-p", "Review File", "--crop", "2:2:3:2", "%D/x.mov"}, 2, "vantor: --crop takes even pixel counts, not \"2:2:3:2\"."},
    Call{{"transcode", "-p", "Review File", "--rotate", "45", "%D/x.mov"}, 2, "vantor: --rotate takes 90, 180 or 270, not \"45\"."},
    Call{{"ingest", "--denoise", "heavy", "--project", "%D/existing", "%D"}, 2,
         "vantor: --denoise takes Light, Medium, Strong or Off, not \"heavy\"."},
    Call{{"ingest", "--json", "--no-start", "--project", "%D/existing", "%D"}, 2, "vantor: --json does not go with --no-start."},
    Call{{"ingest", "--cascade", "--project", "%D/existing", "%D"}, 2, "vantor: --cascade needs at least one --backup."},
    Call{{"presets", "save"}, 2, "vantor: presets save takes one NAME."},
    Call{{"presets", "remove", "Editorial Proxy"}, 1, "vantor: “Editorial Proxy” is a built-in preset and cannot be removed."},
    Call{{"queue", "add", "copy", "--root", "%D", "%D/existing"}, 1,
         "vantor: Source and destination are the same. Choose another folder."},
    Call{{"queue", "frob"}, 2, "vantor: unknown queue subcommand \"frob\""},
    Call{{"queue", "retry", "FFFF"}, 1, "vantor: No job has the id FFFF."},
    Call{{"ingest", "--operation", "move", "--project", "%D/existing", "%D"}, 2,
         "vantor: --operation takes copy, copy-transcode or transcode, not \"move\"."},
    Call{{"watch", "remove", "nope"}, 1, "vantor: No watch rule has the id nope. Run 'vantor watch list' for the rules."},
    Call{{"project", "open"}, 2, "vantor: unknown project command: open"},
    Call{{"project", "create", "-n", "Doc", "%D"}, 2, "vantor: --template is required."},
    Call{create + QStringList{"%D"}, 2, "vantor: --name is required."},
    Call{create + QStringList{"-n", "Doc"}, 2, "vantor: Give exactly one parent folder."},
    Call{create + QStringList{"-n", "Doc", "-d", "2026-02-30", "%D"}, 2, "vantor: --date takes a date as yyyy-MM-dd, not \"2026-02-30\"."},
    Call{create + QStringList{"-n", "existing", "%D"}, 1,
         "vantor: A project named “existing” already exists. Use Open Project or choose another name."},
    Call{create + QStringList{"-n", "Doc", "%D/link"}, 1, "vantor: Select an available, real destination folder: %D/link"},
    Call{{"project", "templates"}, 1, unreadable, true},
    Call{create + QStringList{"-n", "Doc", "%D"}, 1, unreadable, true},
    Call{{"queue", "add", "copy", "--root", "%D/copies", "%D/existing"}, 1, unreadable, true},
    Call{{"queue", "run"}, 1, unreadable, true},
    Call{{"watch", "list"}, 1, unreadable, true},
    Call{{"queue", "list"}, 1, unreadable, true},
    Call{{"transcode", "-p", "Review File", "%D/x.mov"}, 1, unreadable, true}));

} // namespace
