#pragma once

#include <QString>
#include <array>
#include <cstddef>
#include <cstdint>

namespace vantor {

// Streaming xxHash64 with seed 0; its digest equals the published XXH64(data, 0).
// Chunk boundaries never change the result: only the tail of fewer than 32 bytes is buffered.
class XXHash64 {
public:
    XXHash64();

    void update(const void *data, std::size_t length);
    void update(const QByteArray &data) { update(data.constData(), std::size_t(data.size())); }
    // Sixteen lower-case hexadecimal digits; leaves the state unchanged.
    QString finalize() const;
    std::uint64_t finalizeValue() const;

private:
    static std::uint64_t word(const unsigned char *bytes, std::size_t offset, std::size_t count);
    void block(const unsigned char *bytes, std::size_t offset);

    std::uint64_t m_total = 0;
    std::array<unsigned char, 32> m_pending{};
    std::size_t m_pendingLength = 0;
    std::uint64_t m_v1;
    std::uint64_t m_v2;
    std::uint64_t m_v3;
    std::uint64_t m_v4;
};

} // namespace vantor
