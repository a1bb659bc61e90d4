#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

namespace vantor {

// The number of parts to split `count` items into: one per `perPart` items, at most one per core
// and at most four. Below `perPart` items one thread is quicker than starting more.
inline std::size_t partCount(std::size_t count, std::size_t perPart)
{
    const std::size_t threads = std::clamp(std::thread::hardware_concurrency(), 1u, 4u);
    return std::clamp<std::size_t>(count / perPart, 1, threads);
}

// Runs body(begin, end, part) over [0, count) split into `parts`, the first on the calling
// thread and the others on threads joined before return; the first exception of any part is
// rethrown then. Blocks until every part is done.
template <typename Body> void inParts(std::size_t count, std::size_t parts, const Body &body)
{
    std::vector<std::exception_ptr> errors(parts);
    std::vector<std::jthread> threads;
    const auto part = [&](std::size_t index) {
        try {
            body(count * index / parts, count * (index + 1) / parts, index);
        } catch (...) {
            errors[index] = std::current_exception();
        }
    };
    for (std::size_t index = 1; index < parts; ++index)
        threads.emplace_back(part, index);
    part(0);
    threads.clear();
    for (const std::exception_ptr &error : errors) {
        if (error)
            std::rethrow_exception(error);
    }
}

} // namespace vantor
