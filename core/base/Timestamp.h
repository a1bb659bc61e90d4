#pragma once

#include <compare>
#include <ctime>

namespace vantor {

// A point in time as the state file stores it: seconds since 2001-01-01T00:00:00Z as a double.
// A modification time converted from the file system and the same time read back from JSON
// compare equal, because both go through this one conversion and JSON keeps the double exactly.
struct Timestamp {
    double secondsSince2001 = 0;

    static constexpr double unixOffset = 978307200.0; // 2001-01-01 in Unix seconds
    static Timestamp now();
    static Timestamp fromTimespec(const timespec &time);
    static Timestamp fromUnixSeconds(double seconds) { return {seconds - unixOffset}; }
    static Timestamp distantPast() { return {-63114076800.0}; }
    double unixSeconds() const { return secondsSince2001 + unixOffset; }

    auto operator<=>(const Timestamp &) const = default;
};

} // namespace vantor
