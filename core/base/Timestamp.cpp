#include "base/Timestamp.h"

namespace vantor {

Timestamp Timestamp::now()
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return fromTimespec(time);
}

Timestamp Timestamp::fromTimespec(const timespec &time)
{
    // Whole seconds first, so the large offset does not swallow the nanoseconds.
    return {double(time.tv_sec - 978307200) + double(time.tv_nsec) / 1e9};
}

} // namespace vantor
