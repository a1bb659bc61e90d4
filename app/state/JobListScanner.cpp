#include "state/JobListScanner.h"

#include <cstring>

namespace vantor {

std::optional<JobsSplit> JobListScanner::split()
{
    JobsSplit result;
    skipSpace();
    if (!take('{'))
        return std::nullopt;
    skipSpace();
    if (take('}'))
        return std::nullopt;
    for (;;) {
        skipSpace();
        const qsizetype keyBegin = m_at;
        if (!skipString())
            return std::nullopt;
        const bool isJobs = m_at - keyBegin == 6 && std::memcmp(m_data + keyBegin, "\"jobs\"", 6) == 0;
        skipSpace();
        if (!take(':'))
            return std::nullopt;
        skipSpace();
        if (isJobs) {
            if (result.arrayBegin >= 0 || !elements(result))
                return std::nullopt;
        } else if (!skipValue()) {
            return std::nullopt;
        }
        skipSpace();
        if (take(','))
            continue;
        if (take('}'))
            break;
        return std::nullopt;
    }
    if (result.arrayBegin < 0)
        return std::nullopt;
    return result;
}

std::optional<QUuid> JobListScanner::idOf(const char *text, qsizetype size)
{
    constexpr qsizetype idLength = 36;
    JobListScanner scanner(text, size);
    if (!scanner.take('{'))
        return std::nullopt;
    for (;;) {
        scanner.skipSpace();
        const qsizetype key = scanner.m_at;
        if (!scanner.skipString())
            return std::nullopt;
        const bool isId = scanner.m_at - key == 4 && std::memcmp(text + key, "\"id\"", 4) == 0;
        scanner.skipSpace();
        if (!scanner.take(':'))
            return std::nullopt;
        scanner.skipSpace();
        if (isId) {
            const qsizetype begin = scanner.m_at + 1;
            if (!scanner.take('"') || size - begin < idLength + 1 || text[begin + idLength] != '"'
                || std::memchr(text + begin, '\\', idLength))
                return std::nullopt;
            const QUuid id = QUuid::fromString(QLatin1StringView(text + begin, idLength));
            if (id.isNull())
                return std::nullopt;
            return id;
        }
        if (!scanner.skipValue())
            return std::nullopt;
        scanner.skipSpace();
        if (!scanner.take(','))
            return std::nullopt;
    }
}

bool JobListScanner::elements(JobsSplit &result)
{
    result.arrayBegin = m_at;
    if (!take('['))
        return false;
    skipSpace();
    if (!take(']')) {
        for (;;) {
            skipSpace();
            const qsizetype begin = m_at;
            if (!skipValue() || m_at == begin)
                return false;
            result.elements.emplace_back(begin, m_at);
            skipSpace();
            if (take(','))
                continue;
            if (take(']'))
                break;
            return false;
        }
    }
    result.arrayEnd = m_at;
    return true;
}

bool JobListScanner::skipValue()
{
    if (m_at >= m_size)
        return false;
    const char first = m_data[m_at];
    if (first == '"')
        return skipString();
    if (first == '{' || first == '[') {
        int depth = 0;
        while (m_at < m_size) {
            const char c = m_data[m_at];
            if (c == '"') {
                if (!skipString())
                    return false;
                continue;
            }
            ++m_at;
            if (c == '{' || c == '[')
                ++depth;
            else if ((c == '}' || c == ']') && --depth == 0)
                return true;
        }
        return false;
    }
    while (m_at < m_size && !std::strchr(",]} \t\r\n", m_data[m_at]))
        ++m_at;
    return true;
}

bool JobListScanner::skipString()
{
    if (!take('"'))
        return false;
    while (m_at < m_size) {
        const char c = m_data[m_at++];
        if (c == '\\')
            ++m_at;
        else if (c == '"')
            return m_at <= m_size;
    }
    return false;
}

void JobListScanner::skipSpace()
{
    while (m_at < m_size
        && (m_data[m_at] == ' ' || m_data[m_at] == '\n' || m_data[m_at] == '\r' || m_data[m_at] == '\t'))
        ++m_at;
}

bool JobListScanner::take(char c)
{
    if (m_at < m_size && m_data[m_at] == c) {
        ++m_at;
        return true;
    }
    return false;
}

} // namespace vantor
