#pragma once

// Small helpers shared by the timed benchmark programs: a clock, child processes with their
// time and peak memory, scratch files, and the ratio line format.

#include <QByteArray>
#include <QDir>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

extern char **environ;

namespace bench {

inline double seconds(const std::function<void()> &body)
{
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Child {
    double seconds = 0;
    long peakKiB = 0;
    int exitCode = -1;
};

// Runs a program to its end with stdout to /dev/null; reports wall time and peak resident size.
inline Child run(const QStringList &arguments)
{
    std::vector<std::string> storage;
    for (const QString &argument : arguments)
        storage.push_back(argument.toStdString());
    std::vector<char *> argv;
    for (std::string &s : storage)
        argv.push_back(s.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    // The tools draw progress on stderr (xxhsum does for large files); keep the report clean.
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    Child child;
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
        std::fprintf(stderr, "cannot run %s\n", argv[0]);
        std::exit(1);
    }
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    child.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    posix_spawn_file_actions_destroy(&actions);
    child.peakKiB = usage.ru_maxrss;
    child.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (child.exitCode != 0) {
        std::fprintf(stderr, "%s failed (%d)\n", argv[0], child.exitCode);
        std::exit(1);
    }
    return child;
}

// A spawned child's peak resident size starts from its parent's peak (the kernel carries the
// high-water mark across fork and exec), so the parent resets its own mark first.
inline void resetPeakMemory()
{
    if (FILE *file = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", file);
        std::fclose(file);
    }
}

inline long peakMemoryKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

inline Child shell(const QString &script)
{
    return run({QStringLiteral("sh"), QStringLiteral("-c"), script});
}

// A setup step that may fail on this machine (no root, no loop devices): whether it worked.
inline bool tryShell(const QString &script)
{
    return std::system(("(" + script + ") >/dev/null 2>&1").toLocal8Bit().constData()) == 0;
}

inline QString scratch(const QString &name)
{
    const char *base = std::getenv("VANTOR_BENCH_DIR");
    const QString dir = base ? QString::fromLocal8Bit(base) : QDir::tempPath() + QStringLiteral("/vantor-bench");
    QDir().mkpath(dir);
    return QDir(dir).absoluteFilePath(name);
}

// Best of `rounds`, the two sides taken in turn so that drift hits both alike.
inline std::pair<double, double> bestOfPairs(int rounds, const std::function<double()> &ours,
                                             const std::function<double()> &reference)
{
    double bestOurs = 1e30, bestReference = 1e30;
    for (int i = 0; i < rounds; ++i) {
        bestOurs = std::min(bestOurs, ours());
        bestReference = std::min(bestReference, reference());
    }
    return {bestOurs, bestReference};
}

// "name: vantor 0.123 s, reference 0.120 s, time ratio 1.03 (target <= 1.05) ok"
inline void report(const char *name, const char *reference, double ours, double theirs, const char *kind,
                   double ratio, const char *target, bool met)
{
    std::printf("%s: vantor %.3f s, %s %.3f s, %s %.3f (target %s) %s\n", name, ours, reference, theirs, kind, ratio,
                target, met ? "ok" : "MISSED");
    std::fflush(stdout);
}

inline QString cliPath()
{
    return QStringLiteral(VANTOR_CLI_PATH);
}

} // namespace bench
