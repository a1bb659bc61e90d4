#pragma once

#include <QByteArray>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace vantor {

// The byte ranges of the elements of the top-level "jobs" array, found by skipping over
// strings and brackets without judging anything else; the JSON parser judges the pieces.
struct JobsSplit {
    qsizetype arrayBegin = -1; // the "["
    qsizetype arrayEnd = -1; // just after the "]"
    std::vector<std::pair<qsizetype, qsizetype>> elements;
};

class JobListScanner {
public:
    explicit JobListScanner(const QByteArray &data)
        : m_data(data.constData())
        , m_size(data.size())
    {
    }

    std::optional<JobsSplit> split()
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

private:
    bool elements(JobsSplit &result)
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

    bool skipValue()
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

    bool skipString()
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

    void skipSpace()
    {
        while (m_at < m_size
            && (m_data[m_at] == ' ' || m_data[m_at] == '\n' || m_data[m_at] == '\r' || m_data[m_at] == '\t'))
            ++m_at;
    }

    bool take(char c)
    {
        if (m_at < m_size && m_data[m_at] == c) {
            ++m_at;
            return true;
        }
        return false;
    }

    const char *m_data;
    qsizetype m_size;
    qsizetype m_at = 0;
};

} // namespace vantor
