#pragma once

#include "base/ChecksumAlgorithm.h"
#include "ingest/CopySink.h"
#include "ingest/XXHash64.h"

#include <QString>
#include <memory>

struct evp_md_ctx_st;

namespace vantor {

// One running digest of whichever algorithm a job names; as a sink it hashes what a pipeline reads.
class Hasher : public CopySink {
public:
    explicit Hasher(ChecksumAlgorithm algorithm);
    ~Hasher() override;
    Hasher(const Hasher &) = delete;
    Hasher &operator=(const Hasher &) = delete;

    void update(const char *data, std::size_t length);
    void consume(const char *data, std::size_t length) override { update(data, length); }
    QString text(); // lower-case hexadecimal; ends the digest

private:
    struct ContextFree {
        void operator()(evp_md_ctx_st *context) const;
    };
    XXHash64 m_xxHash;
    std::unique_ptr<evp_md_ctx_st, ContextFree> m_context; // absent for xxHash64
};

} // namespace vantor
