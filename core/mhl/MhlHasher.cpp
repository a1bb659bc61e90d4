#include "mhl/MhlHasher.h"

#include "base/FileIo.h"
#include "base/VantorError.h"
#include "ingest/ChecksumService.h"

#include <openssl/evp.h>

#include <utility>

namespace vantor {

MhlHasher::MhlHasher(HashFormat format)
    : m_format(format)
{
    if (!HashFormats::computable(format))
        throw VantorError(QStringLiteral("Vantor cannot compute %1 hashes.").arg(HashFormats::name(format)));
    if (format == HashFormat::xxh64)
        return;
    const EVP_MD *type = format == HashFormat::md5 ? EVP_md5() : format == HashFormat::sha1 ? EVP_sha1() : EVP_sha512();
    m_context = EVP_MD_CTX_new();
    if (!m_context || EVP_DigestInit_ex(m_context, type, nullptr) != 1)
        throw VantorError(QStringLiteral("The digest could not be started."));
}

MhlHasher::MhlHasher(MhlHasher &&other) noexcept
    : m_format(other.m_format), m_xxHash(other.m_xxHash), m_context(std::exchange(other.m_context, nullptr))
{
}

MhlHasher &MhlHasher::operator=(MhlHasher &&other) noexcept
{
    std::swap(m_format, other.m_format);
    std::swap(m_xxHash, other.m_xxHash);
    std::swap(m_context, other.m_context);
    return *this;
}

MhlHasher::~MhlHasher()
{
    EVP_MD_CTX_free(m_context);
}

void MhlHasher::update(const void *data, std::size_t length)
{
    if (!m_context)
        m_xxHash.update(data, length);
    else if (EVP_DigestUpdate(m_context, data, length) != 1)
        throw VantorError(QStringLiteral("The digest could not be updated."));
}

QByteArray MhlHasher::raw() const
{
    if (!m_context) {
        const std::uint64_t value = m_xxHash.finalizeValue();
        QByteArray bytes(8, Qt::Uninitialized);
        for (int i = 0; i < 8; ++i)
            bytes[i] = char((value >> (56 - 8 * i)) & 0xff);
        return bytes;
    }
    // Finishing consumes a context, so finish a copy.
    EVP_MD_CTX *copy = EVP_MD_CTX_new();
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    const bool ok = copy && EVP_MD_CTX_copy_ex(copy, m_context) == 1 && EVP_DigestFinal_ex(copy, digest, &length) == 1;
    EVP_MD_CTX_free(copy);
    if (!ok)
        throw VantorError(QStringLiteral("The digest could not be finished."));
    return QByteArray(reinterpret_cast<const char *>(digest), int(length));
}

QByteArray MhlHasher::digest(HashFormat format, const QByteArray &data)
{
    MhlHasher hasher(format);
    hasher.update(data.constData(), std::size_t(data.size()));
    return hasher.raw();
}

std::vector<QString> MhlHasher::fileDigests(const QString &path, const std::vector<HashFormat> &formats,
                                            JobControl &control)
{
    std::vector<MhlHasher> hashers;
    for (HashFormat format : formats)
        hashers.emplace_back(format);
    FileIo::UniqueFd fd = ChecksumService::openForReading(path);
    constexpr std::size_t chunk = 1 << 20;
    const FileIo::AlignedBuffer buffer = FileIo::alignedBuffer(chunk);
    for (;;) {
        control.checkpoint();
        const std::size_t got = FileIo::read(fd.get(), buffer.get(), chunk);
        if (got == 0)
            break;
        for (MhlHasher &hasher : hashers)
            hasher.update(buffer.get(), got);
    }
    std::vector<QString> texts;
    for (const MhlHasher &hasher : hashers)
        texts.push_back(HashFormats::text(hasher.format(), hasher.raw()));
    return texts;
}

} // namespace vantor
