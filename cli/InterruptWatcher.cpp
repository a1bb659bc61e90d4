#include "InterruptWatcher.h"

#include "base/VantorError.h"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace vantor::cli {

namespace {
sigset_t interruptSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}
} // namespace

InterruptWatcher::InterruptWatcher(std::function<void()> onInterrupt) : m_onInterrupt(std::move(onInterrupt))
{
    const sigset_t signals = interruptSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_signalFd = ::signalfd(-1, &signals, SFD_CLOEXEC);
    m_stopFd = ::eventfd(0, EFD_CLOEXEC);
    if (m_signalFd < 0 || m_stopFd < 0)
        throwSystemError(errno);
    m_thread = std::thread([this] {
        pollfd watched[2] = {{m_signalFd, POLLIN, 0}, {m_stopFd, POLLIN, 0}};
        for (;;) {
            if (::poll(watched, 2, -1) < 0) {
                if (errno == EINTR)
                    continue;
                return;
            }
            if (watched[1].revents)
                return;
            if (watched[0].revents) {
                signalfd_siginfo info{};
                if (::read(m_signalFd, &info, sizeof info) == sizeof info) {
                    m_interrupted = true;
                    m_onInterrupt();
                }
            }
        }
    });
}

InterruptWatcher::~InterruptWatcher()
{
    const uint64_t one = 1;
    [[maybe_unused]] ssize_t written = ::write(m_stopFd, &one, sizeof one);
    m_thread.join();
    ::close(m_signalFd);
    ::close(m_stopFd);
    const sigset_t signals = interruptSignals();
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

} // namespace vantor::cli
