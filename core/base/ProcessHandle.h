#pragma once

#include <sys/types.h>

namespace vantor {

// A child process held through a pidfd, so a signal can never reach a recycled process id:
// once the child is reaped, signalling fails quietly instead of hitting a stranger.
class ProcessHandle {
public:
    explicit ProcessHandle(pid_t pid); // opens the pidfd; throws the system's error
    ~ProcessHandle();
    ProcessHandle(const ProcessHandle &) = delete;
    ProcessHandle &operator=(const ProcessHandle &) = delete;

    pid_t pid() const { return m_pid; }
    int pidfd() const { return m_pidfd; }
    bool signal(int signalNumber) const; // false when the process has ended

private:
    pid_t m_pid;
    int m_pidfd;
};

} // namespace vantor
