#pragma once

#include <QStringList>
#include <sys/stat.h>
#include <vector>

namespace vantor {

// Keeps the engine from changing the access times of the files it reads. A child process cannot
// be handed O_NOATIME, so the access time of every regular file named after "-i" is recorded
// when this is made and put back (modification time untouched) when it is destroyed.
class SourceAccessTimes {
public:
    explicit SourceAccessTimes(const QStringList &engineArguments);
    ~SourceAccessTimes();
    SourceAccessTimes(const SourceAccessTimes &) = delete;
    SourceAccessTimes &operator=(const SourceAccessTimes &) = delete;

private:
    struct Kept {
        int fd;
        timespec accessed;
    };
    std::vector<Kept> m_kept;
};

} // namespace vantor
