#include "files/FileGrant.h"

#include "base/JsonCodec.h"
#include "base/VantorError.h"

namespace vantor {

QJsonObject FileGrant::toJson() const
{
    QJsonObject object{{QStringLiteral("path"), path}};
    if (bookmark)
        object.insert(QStringLiteral("bookmark"), QString::fromLatin1(bookmark->toBase64()));
    return object;
}

FileGrant FileGrant::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "FileGrant");
    FileGrant grant;
    grant.path = reader.string("path");
    if (reader.has("bookmark")) {
        const auto decoded = QByteArray::fromBase64Encoding(reader.string("bookmark").toLatin1(),
                                                            QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded)
            reader.fail("bookmark", QStringLiteral("not base64 data"));
        grant.bookmark = *decoded;
    }
    return grant;
}

} // namespace vantor
