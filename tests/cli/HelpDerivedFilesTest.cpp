// The completions and the manual page are made from the binary's --help texts by the scripts in
// packaging/: every command the binary lists must reach them, and the completion must work.
#include "CliTest.h"

#include <QMap>
#include <QRegularExpression>

namespace vantor {
namespace {

const QString packaging = QStringLiteral(VANTOR_PACKAGING_DIR);

// The first words of the entries under "Commands:" or "Subcommands:" of a help text.
QStringList listedCommands(const QString &help)
{
    QStringList names;
    bool inCommands = false;
    for (const QString &line : help.split('\n')) {
        if (!line.startsWith(' ') && line.endsWith(':'))
            inCommands = line == "Commands:" || line == "Subcommands:";
        else if (inCommands && line.startsWith("  ") && line.size() > 2 && line[2].isLower())
            names << line.simplified().section(' ', 0, 0);
    }
    return names;
}

// The long options of a help text's "Options:" entries.
QStringList longOptions(const QString &help)
{
    QStringList options;
    static const QRegularExpression option(QStringLiteral("^  (?:-\\w, )?(--[\\w-]+)"));
    for (const QString &line : help.split('\n'))
        if (const auto match = option.match(line); match.hasMatch())
            options << match.captured(1);
    return options;
}

class HelpDerivedFiles : public test::CliTest {
public:
    QString shell(const QString &command, const QString &input = {}) const
    {
        const QString inputFile = dir.write("input", input.toUtf8());
        const test::ProcessResult result =
            test::runProgram("sh", {"-c", command + " < \"$0\"", inputFile}, environment);
        EXPECT_EQ(result.exitCode, 0) << command.toStdString() << ": " << result.errText().toStdString();
        return result.outText();
    }
    QString help(const QString &path) const
    {
        return vantor(QStringList(path.split(' ', Qt::SkipEmptyParts)) << "--help").outText();
    }
    // help-tree's output, made once: it asks the binary for every command's help.
    QString treeText() const
    {
        static const QString text = shell('"' + packaging + "/help-tree\" \"" + test::vantorPath() + '"');
        return text;
    }
    // Path ("" for vantor itself) to options and subcommands, as help-tree prints them.
    QMap<QString, QPair<QString, QStringList>> tree() const
    {
        QMap<QString, QPair<QString, QStringList>> commands;
        for (const QString &line : treeText().split('\n', Qt::SkipEmptyParts)) {
            const QStringList fields = line.split('\t');
            EXPECT_EQ(fields.size(), 3) << line.toStdString();
            commands[fields.value(0)] = {fields.value(1), fields.value(2).split(' ', Qt::SkipEmptyParts)};
        }
        return commands;
    }
};

TEST_F(HelpDerivedFiles, TheTreeHoldsEveryListedCommandAndOption)
{
    const auto commands = tree();
    ASSERT_TRUE(commands.contains(""));
    const QStringList top = listedCommands(help(""));
    ASSERT_GE(top.size(), 10);
    EXPECT_EQ(commands[""].second, top);
    for (const QString &name : top) {
        ASSERT_TRUE(commands.contains(name)) << name.toStdString();
        // A listed subcommand's own help must reach the tree too, whatever its entry's layout.
        for (const QString &sub : listedCommands(help(name)))
            EXPECT_TRUE(commands[name].second.contains(sub)) << (name + ' ' + sub).toStdString();
    }
    for (auto command = commands.cbegin(); command != commands.cend(); ++command) {
        const QStringList options = command.value().first.split(' ', Qt::SkipEmptyParts);
        for (const QString &option : longOptions(help(command.key())))
            EXPECT_TRUE(options.contains(option) || options.filter(QRegularExpression('^' + option + '=')).size() == 1)
                << (command.key() + ' ' + option).toStdString();
        for (const QString &sub : command.value().second)
            EXPECT_TRUE(commands.contains((command.key() + ' ' + sub).trimmed())) << sub.toStdString();
    }
}

TEST_F(HelpDerivedFiles, TheManualPageHasASectionWithEachCommandsHelp)
{
    const QString fixed = dir.write("fixed.h2m", "[ENVIRONMENT]\nfixed text\n");
    const QString tree = treeText();
    const QString page =
        shell('"' + packaging + "/man-include\" \"" + test::vantorPath() + "\" \"" + fixed + '"', tree);
    EXPECT_TRUE(page.startsWith("[COMMANDS]\n"));
    EXPECT_TRUE(page.endsWith("[ENVIRONMENT]\nfixed text\n"));
    for (const QString &line : tree.split('\n', Qt::SkipEmptyParts)) {
        const QString path = line.section('\t', 0, 0);
        if (path.isEmpty())
            continue;
        const QString heading = ".SS \"vantor " + path + "\"\n.nf\n";
        ASSERT_TRUE(page.contains(heading)) << path.toStdString();
        // The section shows the help's lines, dashes escaped so roff prints them as typed.
        const QString section = page.section(heading, 1).section("\n.fi\n", 0, 0);
        const QString description = help(path).section('\n', 1, 1);
        EXPECT_TRUE(section.contains(QString(description).replace("-", "\\-"))) << path.toStdString();
    }
    for (const QString &line : page.split('\n'))
        EXPECT_FALSE(line.startsWith('\'')) << line.toStdString();
}

struct Completion {
    const char *name;
    QStringList words; // the command line, the last word being completed
    QStringList offered;
};
void PrintTo(const Completion &completion, std::ostream *out) { *out << completion.name; }

class BashCompletion : public HelpDerivedFiles, public testing::WithParamInterface<Completion> {};

TEST_P(BashCompletion, OffersWhatTheCommandLineAllows)
{
    const QString script = dir.write("vantor.bash", shell('"' + packaging + "/completions\" bash", treeText()).toUtf8());
    dir.write("work/clip.mov", "");
    dir.makeDir("work/card");
    const QStringList &words = GetParam().words;
    const test::ProcessResult result = test::runProgram(
        "bash",
        QStringList{"-c", "cd \"$0\" && source \"$1\" && COMP_WORDS=(\"${@:2}\") && COMP_CWORD=$(($# - 2)) && _vantor"
                          " && printf '%s\\n' \"${COMPREPLY[@]}\" | sort",
                    dir.file("work"), script}
            + words,
        environment);
    ASSERT_EQ(result.exitCode, 0) << result.errText().toStdString();
    EXPECT_EQ(result.outText().split('\n', Qt::SkipEmptyParts), GetParam().offered);
}

INSTANTIATE_TEST_SUITE_P(
    Words, BashCompletion,
    testing::Values(Completion{"Command", {"vantor", "q"}, {"queue"}},
                    Completion{"Subcommand", {"vantor", "queue", "re"}, {"remove", "report", "retry"}},
                    Completion{"SubcommandInsideAnEntry", {"vantor", "watch", "di"}, {"disable"}},
                    Completion{"Option", {"vantor", "transcode", "--burn-t"}, {"--burn-text", "--burn-timecode"}},
                    Completion{"FolderValue", {"vantor", "copy", "--root", ""}, {"card"}},
                    Completion{"FolderValueAfterEquals", {"vantor", "copy", "--root", "=", "c"}, {"card"}},
                    Completion{"ValueWithoutCompletion", {"vantor", "hash", "-a", ""}, {}},
                    Completion{"PositionalFiles", {"vantor", "hash", "queue", ""}, {"card", "clip.mov"}},
                    Completion{"NoCommandBelowALeaf", {"vantor", "scan", "c"}, {"card", "clip.mov"}}),
    [](const testing::TestParamInfo<Completion> &info) { return info.param.name; });

} // namespace
} // namespace vantor
