#include "transcode/TranscodeService.h"

#include "base/FileIo.h"
#include "base/ProcessHandle.h"
#include "base/VantorError.h"
#include "transcode/SourceAccessTimes.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace vantor::TranscodeService {

namespace {

bool isExecutableFile(const QString &path)
{
    const QByteArray name = FileIo::encodeName(path);
    struct stat status { };
    return ::stat(name.constData(), &status) == 0 && S_ISREG(status.st_mode)
        && ::access(name.constData(), X_OK) == 0;
}

QString besideOf(const QString &path, const QString &program)
{
    return QFileInfo(path).absolutePath() + QLatin1Char('/') + program;
}

// The folder of the running program, so an installed tree can carry its own engine.
QString executableFolder()
{
    return QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).absolutePath();
}

// The last `count` characters, never splitting a character made of two UTF-16 units.
QString tail(const QString &text, qsizetype count)
{
    qsizetype start = text.size();
    for (qsizetype taken = 0; taken < count && start > 0; ++taken) {
        --start;
        if (start > 0 && text[start].isLowSurrogate() && text[start - 1].isHighSurrogate())
            --start;
    }
    return text.mid(start);
}

// The engine's last meaningful lines within `count` characters, whole lines only: blank lines,
// the -progress key=value stream and the probe's bare JSON brackets say nothing about a failure.
QString lastLines(const QString &text, qsizetype count)
{
    static const QRegularExpression progress(QStringLiteral("^([a-z][a-z0-9_]*=\\s*\\S*|[\\[\\]{},]+)$"));
    QStringList kept;
    qsizetype size = 0;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (auto line = lines.crbegin(); line != lines.crend(); ++line) {
        const QString trimmed = line->trimmed();
        if (trimmed.isEmpty() || progress.match(trimmed).hasMatch())
            continue;
        if (size + trimmed.size() > count) {
            if (kept.isEmpty()) // one line longer than the whole allowance: its end
                kept.prepend(tail(trimmed, count));
            break;
        }
        kept.prepend(trimmed);
        size += trimmed.size() + 1;
    }
    return kept.join(QLatin1Char('\n'));
}

class Pipe {
public:
    Pipe()
    {
        if (::pipe2(m_fds, O_CLOEXEC) != 0)
            throwSystemError(errno);
    }
    ~Pipe()
    {
        closeRead();
        closeWrite();
    }
    int readEnd() const { return m_fds[0]; }
    int writeEnd() const { return m_fds[1]; }
    void closeRead() { closeOne(m_fds[0]); }
    void closeWrite() { closeOne(m_fds[1]); }

private:
    static void closeOne(int &fd)
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
    int m_fds[2] = { -1, -1 };
};

// Starts the child with the pipe as stdout and stderr and the null device as stdin. The
// child starts with an empty signal mask and default dispositions: the command line blocks
// SIGINT and SIGTERM in its own threads, and an engine inheriting that mask could not be
// cancelled.
pid_t spawn(const QString &executable, const QStringList &arguments, int outputFd)
{
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, outputFd, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, outputFd, STDERR_FILENO);
    sigset_t empty;
    sigset_t all;
    sigemptyset(&empty);
    sigfillset(&all);
    ::posix_spawnattr_setsigmask(&attributes, &empty);
    ::posix_spawnattr_setsigdefault(&attributes, &all);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    const QByteArray program = FileIo::encodeName(executable);
    std::vector<QByteArray> storage;
    storage.reserve(std::size_t(arguments.size()) + 1);
    storage.push_back(program);
    for (const QString &argument : arguments)
        storage.push_back(argument.toUtf8());
    std::vector<char *> argv;
    for (QByteArray &argument : storage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    pid_t pid = -1;
    const int result = ::posix_spawn(&pid, program.constData(), &actions, &attributes, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    if (result != 0)
        throwSystemError(result);
    return pid;
}

// The exit code, or the signal number for a process ended by a signal.
int reap(pid_t pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            throwSystemError(errno);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? WTERMSIG(status) : -1;
}

} // namespace

QString executable(const QString &custom, bool probe)
{
    const QString program = probe ? QStringLiteral("ffprobe") : QStringLiteral("ffmpeg");
    QStringList candidates;
    const QString environment = qEnvironmentVariable("VANTOR_ENGINE");
    if (!environment.isEmpty())
        candidates << (probe ? besideOf(environment, program) : environment);
    if (!custom.isEmpty())
        candidates << (probe ? besideOf(custom, program) : custom);
    candidates << executableFolder() + QStringLiteral("/../share/vantor/bin/") + program
               << QStringLiteral("/usr/local/bin/") + program << QStringLiteral("/usr/bin/") + program;
    for (const QString &candidate : candidates) {
        if (isExecutableFile(candidate))
            return candidate;
    }
    throw VantorError(
        QStringLiteral("The processing engine is missing. Reinstall Vantor or contact support."));
}

QString run(const QString &executable, const QStringList &arguments, JobControl &control,
    const std::function<void(const QString &)> &line)
{
    control.checkpoint();
    // Destroyed after the child is reaped, on every way out.
    const SourceAccessTimes keptTimes(arguments);

    Pipe pipe;
    const pid_t pid = spawn(executable, arguments, pipe.writeEnd());
    pipe.closeWrite(); // so the read end sees the end of stream when the child exits

    std::shared_ptr<ProcessHandle> handle;
    try {
        handle = std::make_shared<ProcessHandle>(pid);
    } catch (...) {
        // Not reaped yet, so the pid still names our child.
        ::kill(pid, SIGKILL);
        reap(pid);
        throw;
    }
    control.attach(handle);

    QByteArray output;
    int status = 0;
    try {
        QByteArray pending;
        char buffer[65536];
        while (const std::size_t got = FileIo::read(pipe.readEnd(), buffer, sizeof buffer)) {
            output.append(buffer, qsizetype(got));
            pending.append(buffer, qsizetype(got));
            qsizetype end;
            qsizetype start = 0;
            while ((end = pending.indexOf('\n', start)) >= 0) {
                line(QString::fromUtf8(pending.constData() + start, end - start));
                start = end + 1;
            }
            pending.remove(0, start);
        }
        pipe.closeRead();
        status = reap(pid);
    } catch (...) {
        // A failed read or a throwing line handler must not leave the engine running.
        handle->signal(SIGCONT);
        handle->signal(SIGKILL);
        control.attach(nullptr);
        pipe.closeRead();
        reap(pid);
        throw;
    }
    control.attach(nullptr);

    control.waitWhilePaused();
    if (control.isCancelled())
        throw CancellationError();
    const QString text = QString::fromUtf8(output);
    if (status == 0)
        return text;
    const QString reason = lastLines(text, 3500);
    throw VantorError(QStringLiteral("Media engine failed (") + QString::number(status) + QStringLiteral(").")
        + (reason.isEmpty() ? QString() : QLatin1Char('\n') + reason));
}

} // namespace vantor::TranscodeService
