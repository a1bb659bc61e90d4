// Any bytes given to the state decoder either fail with an exception or decode to a state whose
// encoding decodes again to the very same encoding.
#include "model/StateStore.h"

#include <cstdint>
#include <cstdlib>
#include <exception>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace vantor;
    AppState state;
    try {
        state = StateStore::decode(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    } catch (const std::exception &) {
        return 0;
    }
    const QByteArray encoded = StateStore::encode(state);
    try {
        if (StateStore::encode(StateStore::decode(encoded)) != encoded)
            std::abort();
    } catch (const std::exception &) {
        std::abort(); // what the encoder writes must always read back
    }
    return 0;
}
