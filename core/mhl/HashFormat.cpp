#include "mhl/HashFormat.h"

#include "mhl/C4.h"
#include "base/VantorError.h"

#include <array>

namespace vantor::HashFormats {

namespace {

constexpr std::array<const char *, 6> names{"c4", "md5", "sha1", "xxh128", "xxh3", "xxh64"};
constexpr std::array<int, 6> rawLengths{64, 16, 20, 16, 8, 8};

} // namespace

QString name(HashFormat format)
{
    return QString::fromLatin1(names[std::size_t(format)]);
}

std::optional<HashFormat> fromName(const QString &name)
{
    for (std::size_t i = 0; i < names.size(); ++i)
        if (name == QLatin1String(names[i]))
            return HashFormat(i);
    return std::nullopt;
}

bool computable(HashFormat format)
{
    return format != HashFormat::xxh3 && format != HashFormat::xxh128;
}

std::optional<HashFormat> fromChecksum(ChecksumAlgorithm algorithm)
{
    if (algorithm == ChecksumAlgorithm::xxHash)
        return HashFormat::xxh64;
    if (algorithm == ChecksumAlgorithm::md5)
        return HashFormat::md5;
    return std::nullopt;
}

QString text(HashFormat format, const QByteArray &raw)
{
    if (format == HashFormat::c4)
        return C4::encode(raw);
    return QString::fromLatin1(raw.toHex());
}

QByteArray raw(HashFormat format, const QString &text)
{
    if (format == HashFormat::c4)
        return C4::decode(text);
    const QByteArray bytes = QByteArray::fromHex(text.toLatin1());
    const bool hex = std::all_of(text.begin(), text.end(), [](QChar c) {
        return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || (c >= QLatin1Char('a') && c <= QLatin1Char('f'));
    });
    if (!hex || bytes.size() != rawLengths[std::size_t(format)])
        throw VantorError(QStringLiteral("A %1 hash is not %2 lower-case hexadecimal digits: %3")
                              .arg(name(format)).arg(rawLengths[std::size_t(format)] * 2).arg(text));
    return bytes;
}

} // namespace vantor::HashFormats
