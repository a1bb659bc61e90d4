#include "ingest/Hasher.h"

#include "base/VantorError.h"

#include <openssl/evp.h>

namespace vantor {

void Hasher::ContextFree::operator()(evp_md_ctx_st *context) const
{
    EVP_MD_CTX_free(context);
}

Hasher::Hasher(ChecksumAlgorithm algorithm)
{
    if (algorithm == ChecksumAlgorithm::xxHash)
        return;
    m_context.reset(EVP_MD_CTX_new());
    const EVP_MD *type = algorithm == ChecksumAlgorithm::md5 ? EVP_md5() : EVP_sha256();
    if (!m_context || EVP_DigestInit_ex(m_context.get(), type, nullptr) != 1)
        throw VantorError(QStringLiteral("The digest could not be started."));
}

Hasher::~Hasher() = default;

void Hasher::update(const char *data, std::size_t length)
{
    if (!m_context)
        m_xxHash.update(data, length);
    else if (EVP_DigestUpdate(m_context.get(), data, length) != 1)
        throw VantorError(QStringLiteral("The digest could not be updated."));
}

QString Hasher::text()
{
    if (!m_context)
        return m_xxHash.finalize();
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(m_context.get(), digest, &length) != 1)
        throw VantorError(QStringLiteral("The digest could not be finished."));
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(digest), int(length)).toHex());
}

} // namespace vantor
