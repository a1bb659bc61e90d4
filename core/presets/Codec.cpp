#include "presets/Codec.h"

namespace vantor {

QString Codec::rawValue() const
{
    static const char *const names[] = {"ProRes Proxy", "ProRes LT", "ProRes 422", "ProRes 422 HQ",
                                        "ProRes 4444",  "DNxHR LB",  "DNxHR SQ",   "DNxHR HQ",
                                        "DNxHR HQX",    "H.264",     "HEVC",       "AV1"};
    return QLatin1String(names[value]);
}

std::optional<Codec> Codec::fromRawValue(const QString &raw)
{
    for (const Value candidate : allCases) {
        if (Codec(candidate).rawValue() == raw)
            return Codec(candidate);
    }
    return std::nullopt;
}

std::optional<int> Codec::proresProfile() const
{
    switch (value) {
    case proresProxy:
        return 0;
    case proresLT:
        return 1;
    case prores422:
        return 2;
    case proresHQ:
        return 3;
    case prores4444:
        return 4;
    default:
        return std::nullopt;
    }
}

std::optional<QString> Codec::dnxProfile() const
{
    switch (value) {
    case dnxLB:
        return QStringLiteral("dnxhr_lb");
    case dnxSQ:
        return QStringLiteral("dnxhr_sq");
    case dnxHQ:
        return QStringLiteral("dnxhr_hq");
    case dnxHQX:
        return QStringLiteral("dnxhr_hqx");
    default:
        return std::nullopt;
    }
}

QString Codec::encoder() const
{
    if (proresProfile())
        return QStringLiteral("prores_ks");
    if (dnxProfile())
        return QStringLiteral("dnxhd");
    if (rawValue() == QLatin1String("H.264"))
        return QStringLiteral("libx264");
    if (rawValue() == QLatin1String("HEVC"))
        return QStringLiteral("libx265");
    return QStringLiteral("libsvtav1");
}

QStringList Codec::containers() const
{
    if (proresProfile())
        return {QStringLiteral("mov")};
    if (dnxProfile())
        return {QStringLiteral("mov"), QStringLiteral("mxf")};
    if (rawValue() == QLatin1String("AV1"))
        return {QStringLiteral("mp4")};
    return {QStringLiteral("mp4"), QStringLiteral("mov")};
}

} // namespace vantor
