#pragma once

#include "mhl/HashFormat.h"
#include "base/JobControl.h"
#include "ingest/XXHash64.h"

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <memory>
#include <vector>

struct evp_md_ctx_st;

namespace vantor {

// One running digest in a computable ASC MHL format.
class MhlHasher {
public:
    explicit MhlHasher(HashFormat format); // throws VantorError for xxh3 and xxh128
    MhlHasher(MhlHasher &&) noexcept;
    MhlHasher &operator=(MhlHasher &&) noexcept;
    ~MhlHasher();

    void update(const void *data, std::size_t length);
    QByteArray raw() const; // xxh64 in its canonical big-endian form; the state is kept
    HashFormat format() const { return m_format; }

    static QByteArray digest(HashFormat format, const QByteArray &data); // raw bytes
    // The file's digests in each format from one read, as text; honours the control's cancel.
    static std::vector<QString> fileDigests(const QString &path, const std::vector<HashFormat> &formats,
                                            JobControl &control);

private:
    HashFormat m_format;
    XXHash64 m_xxHash;
    evp_md_ctx_st *m_context = nullptr;
};

} // namespace vantor
