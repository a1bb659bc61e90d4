// Any bytes given to the state decoder either fail or decode to a state whose encoding decodes
// again to the very same encoding; and the decoder (which reads long job lists in parts) agrees
// with reading the whole document at once through the records' own decoders.
#include "base/FieldReader.h"
#include "base/JsonCodec.h"
#include "state/StateStore.h"

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <optional>
#include <QSet>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace vantor;
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    std::optional<AppState> decoded;
    std::optional<AppState> whole;
    try {
        decoded = StateStore::decode(bytes);
    } catch (const std::exception &) {
    }
    try {
        whole = readFields<AppState>(JsonCodec::parse(bytes));
    } catch (const std::exception &) {
    }
    // The decoder also refuses two jobs with one id, which no single record can see.
    if (whole) {
        QSet<QUuid> ids;
        for (const MediaJob &job : whole->jobs)
            ids.insert(job.id);
        if (ids.size() != qsizetype(whole->jobs.size()))
            whole.reset();
    }
    if (decoded.has_value() != whole.has_value())
        std::abort();
    if (!decoded)
        return 0;
    const QByteArray encoded = StateStore::encode(*decoded);
    if (StateStore::encode(*whole) != encoded)
        std::abort();
    if (JsonCodec::parse(encoded) != QJsonValue(decoded->toJson()))
        std::abort(); // the direct writer must say what the records' own JSON forms say
    try {
        if (StateStore::encode(StateStore::decode(encoded)) != encoded)
            std::abort();
    } catch (const std::exception &) {
        std::abort(); // what the encoder writes must always read back
    }
    return 0;
}
