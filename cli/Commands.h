#pragma once

#include <QString>
#include <QStringList>
#include <vector>

namespace vantor::cli {

using CommandFunction = int (*)(const QStringList &arguments);

struct Command {
    const char *name;
    const char *summary;
    CommandFunction run;
};

// Every subcommand, in the order `vantor --help` lists them. Each command's body lives in its
// own file under cli/, named after it.
const std::vector<Command> &commands();

int dispatch(const QStringList &arguments); // arguments without the program name

// The window opens for no arguments, and for arguments that are all existing paths or file URLs
// (as a launcher passes them); `received` then holds them as local paths.
bool opensWindow(const QStringList &arguments, QStringList *received = nullptr);

// The command draws pages (a PDF report) and needs Qt's painting without a display.
bool drawsPages(const QStringList &arguments);

} // namespace vantor::cli
