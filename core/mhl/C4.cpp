#include "mhl/C4.h"

#include "mhl/MhlHasher.h"
#include "base/VantorError.h"

#include <array>
#include <vector>

namespace vantor::C4 {

namespace {

constexpr char alphabet[] = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
constexpr int digits = 88;
constexpr int rawLength = 64;

[[noreturn]] void refuse(const QString &id)
{
    throw VantorError(QStringLiteral("This is not a C4 ID: %1").arg(id));
}

} // namespace

QString encode(const QByteArray &sha512)
{
    if (sha512.size() != rawLength)
        throw VantorError(QStringLiteral("A C4 ID is made from 64 bytes, not %1.").arg(sha512.size()));
    // Long division of the big-endian number by 58, least significant digit first.
    std::vector<unsigned char> number(sha512.begin(), sha512.end());
    QByteArray text(digits, '1');
    for (int position = digits - 1; position >= 0; --position) {
        unsigned remainder = 0;
        for (unsigned char &byte : number) {
            const unsigned value = (remainder << 8) | byte;
            byte = static_cast<unsigned char>(value / 58);
            remainder = value % 58;
        }
        text[position] = alphabet[remainder];
    }
    return QStringLiteral("c4") + QString::fromLatin1(text);
}

QByteArray decode(const QString &id)
{
    if (id.size() != digits + 2 || !id.startsWith(QLatin1String("c4")))
        refuse(id);
    std::array<unsigned char, rawLength> number{};
    for (int i = 2; i < id.size(); ++i) {
        const char *found = std::char_traits<char>::find(alphabet, 58, id.at(i).toLatin1());
        if (id.at(i).unicode() > 127 || !found)
            refuse(id);
        unsigned carry = unsigned(found - alphabet);
        for (int b = rawLength - 1; b >= 0; --b) {
            const unsigned value = unsigned(number[std::size_t(b)]) * 58 + carry;
            number[std::size_t(b)] = static_cast<unsigned char>(value & 0xff);
            carry = value >> 8;
        }
        if (carry != 0)
            refuse(id); // larger than 512 bits
    }
    return QByteArray(reinterpret_cast<const char *>(number.data()), rawLength);
}

QString ofBytes(const QByteArray &data)
{
    MhlHasher hasher(HashFormat::c4);
    hasher.update(data.constData(), std::size_t(data.size()));
    return encode(hasher.raw());
}

QString ofFile(const QString &path)
{
    JobControl control;
    return MhlHasher::fileDigests(path, {HashFormat::c4}, control).front();
}

} // namespace vantor::C4
