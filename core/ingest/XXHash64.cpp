#include "ingest/XXHash64.h"

#include <bit>
#include <cstdio>
#include <cstring>

namespace vantor {

namespace {

constexpr std::uint64_t prime1 = 0x9E3779B185EBCA87ULL;
constexpr std::uint64_t prime2 = 0xC2B2AE3D27D4EB4FULL;
constexpr std::uint64_t prime3 = 0x165667B19E3779F9ULL;
constexpr std::uint64_t prime4 = 0x85EBCA77C2B2AE63ULL;
constexpr std::uint64_t prime5 = 0x27D4EB2F165667C5ULL;

inline std::uint64_t round(std::uint64_t accumulator, std::uint64_t input)
{
    return std::rotl(accumulator + input * prime2, 31) * prime1;
}

inline std::uint64_t load64(const unsigned char *bytes)
{
    std::uint64_t value;
    std::memcpy(&value, bytes, sizeof value);
    if constexpr (std::endian::native == std::endian::big)
        value = __builtin_bswap64(value);
    return value;
}

inline std::uint32_t load32(const unsigned char *bytes)
{
    std::uint32_t value;
    std::memcpy(&value, bytes, sizeof value);
    if constexpr (std::endian::native == std::endian::big)
        value = __builtin_bswap32(value);
    return value;
}

} // namespace

XXHash64::XXHash64() : m_v1(prime1 + prime2), m_v2(prime2), m_v3(0), m_v4(0 - prime1) {}

std::uint64_t XXHash64::word(const unsigned char *bytes, std::size_t offset, std::size_t count)
{
    return count == 8 ? load64(bytes + offset) : load32(bytes + offset);
}

void XXHash64::block(const unsigned char *bytes, std::size_t offset)
{
    m_v1 = round(m_v1, word(bytes, offset, 8));
    m_v2 = round(m_v2, word(bytes, offset + 8, 8));
    m_v3 = round(m_v3, word(bytes, offset + 16, 8));
    m_v4 = round(m_v4, word(bytes, offset + 24, 8));
}

void XXHash64::update(const void *data, std::size_t length)
{
    const auto *bytes = static_cast<const unsigned char *>(data);
    m_total += length;
    std::size_t consumed = 0;

    if (m_pendingLength > 0) {
        const std::size_t take = std::min(length, m_pending.size() - m_pendingLength);
        if (take > 0) // memcpy from a null pointer is undefined even for zero bytes
            std::memcpy(m_pending.data() + m_pendingLength, bytes, take);
        m_pendingLength += take;
        consumed = take;
        if (m_pendingLength < m_pending.size())
            return;
        block(m_pending.data(), 0);
        m_pendingLength = 0;
    }

    // The lanes live in locals for the hot loop, so the compiler keeps them in registers. Two
    // stripes a turn with a prefetch well ahead keep the memory reads ahead of the multiplies;
    // a prefetch past the end of the buffer is harmless.
    if (length - consumed >= 32) {
        std::uint64_t v1 = m_v1, v2 = m_v2, v3 = m_v3, v4 = m_v4;
        const unsigned char *stripe = bytes + consumed;
        const unsigned char *const end = bytes + length;
        const auto stripes = [&](int count) {
            for (int index = 0; index < count; ++index) {
                v1 = round(v1, load64(stripe));
                v2 = round(v2, load64(stripe + 8));
                v3 = round(v3, load64(stripe + 16));
                v4 = round(v4, load64(stripe + 24));
                stripe += 32;
            }
        };
        while (end - stripe >= 64) {
            __builtin_prefetch(stripe + 512);
            stripes(2);
        }
        if (end - stripe >= 32)
            stripes(1);
        m_v1 = v1;
        m_v2 = v2;
        m_v3 = v3;
        m_v4 = v4;
        consumed = std::size_t(stripe - bytes);
    }

    if (consumed < length) {
        std::memcpy(m_pending.data(), bytes + consumed, length - consumed);
        m_pendingLength = length - consumed;
    }
}

std::uint64_t XXHash64::finalizeValue() const
{
    std::uint64_t h;
    if (m_total < 32) {
        h = prime5 + m_total;
    } else {
        h = std::rotl(m_v1, 1) + std::rotl(m_v2, 7) + std::rotl(m_v3, 12) + std::rotl(m_v4, 18);
        for (const std::uint64_t v : {m_v1, m_v2, m_v3, m_v4})
            h = (h ^ round(0, v)) * prime1 + prime4;
        h += m_total;
    }

    std::size_t offset = 0;
    while (offset + 8 <= m_pendingLength) {
        h = std::rotl(h ^ round(0, word(m_pending.data(), offset, 8)), 27) * prime1 + prime4;
        offset += 8;
    }
    if (offset + 4 <= m_pendingLength) {
        h = std::rotl(h ^ (word(m_pending.data(), offset, 4) * prime1), 23) * prime2 + prime3;
        offset += 4;
    }
    for (; offset < m_pendingLength; ++offset)
        h = std::rotl(h ^ (m_pending[offset] * prime5), 11) * prime1;

    h ^= h >> 33;
    h *= prime2;
    h ^= h >> 29;
    h *= prime3;
    h ^= h >> 32;
    return h;
}

QString XXHash64::finalize() const
{
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(finalizeValue()));
    return QString::fromLatin1(text, 16);
}

} // namespace vantor
