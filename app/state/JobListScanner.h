#pragma once

#include <QByteArray>
#include <QUuid>
#include <optional>
#include <utility>
#include <vector>

namespace vantor {

// The byte ranges of the elements of the top-level "jobs" array, found by skipping over
// strings and brackets without judging anything else; the JSON parser judges the pieces.
// Each element's id is read on the way when it is certain: the element's one member whose key
// is "id" as written, without escapes anywhere in its keys, holding 36 characters that make a
// UUID. That is what the parser would find there, so a job can be known by its id undecoded.
struct JobsSplit {
    qsizetype arrayBegin = -1; // the "["
    qsizetype arrayEnd = -1; // just after the "]"
    std::vector<std::pair<qsizetype, qsizetype>> elements;
    std::vector<std::optional<QUuid>> ids; // one per element
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

private:
    bool elements(JobsSplit &result);
    bool objectId(std::optional<QUuid> &id); // scans an object whole; false when it is not one
    bool skipValue();
    bool skipString();
    void skipSpace();
    bool take(char c);

    const char *m_data;
    qsizetype m_size;
    qsizetype m_at = 0;
};

} // namespace vantor
