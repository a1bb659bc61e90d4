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
        // An escaped key could spell "jobs" too, which the parser would see as a second list.
        if (std::memchr(m_data + keyBegin, '\\', std::size_t(m_at - keyBegin)))
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

bool JobListScanner::objectId(std::optional<QUuid> &id)
{
    constexpr qsizetype idLength = 36;
    id.reset();
    if (!take('{'))
        return false;
    skipSpace();
    if (take('}'))
        return true;
    std::optional<QUuid> found;
    int idKeys = 0;
    bool escapedKey = false; // an escaped key could spell "id" too
    for (;;) {
        skipSpace();
        const qsizetype key = m_at;
        if (!skipString())
            return false;
        escapedKey = escapedKey || std::memchr(m_data + key, '\\', std::size_t(m_at - key));
        const bool isId = m_at - key == 4 && std::memcmp(m_data + key, "\"id\"", 4) == 0;
        skipSpace();
        if (!take(':'))
            return false;
        skipSpace();
        const qsizetype value = m_at;
        if (!skipValue())
            return false;
        if (isId && ++idKeys == 1 && m_at - value == idLength + 2 && m_data[value] == '"'
            && !std::memchr(m_data + value + 1, '\\', idLength))
            found = QUuid::fromString(QLatin1StringView(m_data + value + 1, idLength));
        skipSpace();
        if (take(','))
            continue;
        if (take('}'))
            break;
        return false;
    }
    if (idKeys == 1 && !escapedKey && found && !found->isNull())
        id = found;
    return true;
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
            std::optional<QUuid> id;
            if (!objectId(id)) {
                m_at = begin; // not an object as a job is: judged by the parser later
                id.reset();
                if (!skipValue() || m_at == begin)
                    return false;
            }
            result.elements.emplace_back(begin, m_at);
            result.ids.push_back(id);
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
