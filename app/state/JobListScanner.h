#pragma once

#include <QByteArray>
#include <QUuid>
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

// Finds them in a state file's bytes; empty when the document is not shaped for it.
class JobListScanner {
public:
    explicit JobListScanner(const QByteArray &data)
        : JobListScanner(data.constData(), data.size())
    {
    }
    JobListScanner(const char *data, qsizetype size)
        : m_data(data)
        , m_size(size)
    {
    }

    std::optional<JobsSplit> split();

    // The id of a job's text, found by skipping over the members before "id" without judging
    // them; nothing when it is not found that way. For a well-formed job it is what a full
    // decode finds.
    static std::optional<QUuid> idOf(const char *text, qsizetype size);

private:
    bool elements(JobsSplit &result);
    bool skipValue();
    bool skipString();
    void skipSpace();
    bool take(char c);

    const char *m_data;
    qsizetype m_size;
    qsizetype m_at = 0;
};

} // namespace vantor
