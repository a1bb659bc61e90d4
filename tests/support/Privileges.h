#pragma once

#include <QString>

namespace vantor::test {

// Tests run as root in containers, where permission bits alone refuse nothing. While one of
// these lives, the calling thread obeys file permissions (its effective DAC override
// capabilities are dropped, and given back by the destructor).
class ObeyFilePermissions {
public:
    ObeyFilePermissions();
    ~ObeyFilePermissions();
    ObeyFilePermissions(const ObeyFilePermissions &) = delete;
    ObeyFilePermissions &operator=(const ObeyFilePermissions &) = delete;

private:
    unsigned m_effective[2] = {0, 0};
    bool m_changed = false;
};

// A small tmpfs mounted at a folder for the life of the object, so a test can fill a real
// volume. `mounted()` is false where mounting is not allowed; such tests skip.
class ScratchVolume {
public:
    ScratchVolume(const QString &path, long bytes);
    ~ScratchVolume();
    ScratchVolume(const ScratchVolume &) = delete;
    ScratchVolume &operator=(const ScratchVolume &) = delete;
    bool mounted() const { return m_mounted; }
    QString path() const { return m_path; }

private:
    QString m_path;
    bool m_mounted = false;
};

} // namespace vantor::test
