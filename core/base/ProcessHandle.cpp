#include "base/ProcessHandle.h"

#include "base/VantorError.h"

#include <cerrno>
#include <csignal>
#include <sys/syscall.h>
#include <unistd.h>

namespace vantor {

ProcessHandle::ProcessHandle(pid_t pid) : m_pid(pid), m_pidfd(int(::syscall(SYS_pidfd_open, pid, 0)))
{
    if (m_pidfd < 0)
        throwSystemError(errno);
}

ProcessHandle::~ProcessHandle()
{
    ::close(m_pidfd);
}

bool ProcessHandle::signal(int signalNumber) const
{
    return ::syscall(SYS_pidfd_send_signal, m_pidfd, signalNumber, nullptr, 0) == 0;
}

} // namespace vantor
