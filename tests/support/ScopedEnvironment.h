#pragma once

#include <QByteArray>
#include <optional>
#include <QtGlobal>

namespace vantor::test {

// Sets (or unsets, with nullopt) one environment variable of this process for the life of the
// object and restores the earlier value afterwards.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char *name, const std::optional<QByteArray> &value) : m_name(name)
    {
        if (qEnvironmentVariableIsSet(name))
            m_previous = qgetenv(name);
        if (value)
            qputenv(name, *value);
        else
            qunsetenv(name);
    }
    ~ScopedEnvironment()
    {
        if (m_previous)
            qputenv(m_name, *m_previous);
        else
            qunsetenv(m_name);
    }
    ScopedEnvironment(const ScopedEnvironment &) = delete;
    ScopedEnvironment &operator=(const ScopedEnvironment &) = delete;

private:
    const char *m_name;
    std::optional<QByteArray> m_previous;
};

} // namespace vantor::test
