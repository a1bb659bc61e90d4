#include "projects/ProjectContext.h"

#include "base/JsonCodec.h"

#include <QJsonDocument>

namespace vantor {

QJsonObject ProjectContext::toJson() const
{
    return QJsonObject {
        { QStringLiteral("name"), name },
        { QStringLiteral("client"), client },
        { QStringLiteral("date"), date },
        { QStringLiteral("root"), JsonCodec::fileUrl(root, true) },
    };
}

ProjectContext ProjectContext::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "ProjectContext");
    ProjectContext context;
    context.name = reader.string("name");
    context.client = reader.string("client");
    context.date = reader.string("date");
    context.root = reader.fileUrl("root");
    return context;
}

QByteArray ProjectContext::markerData() const
{
    // Outside strings compact JSON has no slash, so escaping every one touches only text.
    QByteArray data = QJsonDocument(toJson()).toJson(QJsonDocument::Compact);
    data.replace("/", "\\/");
    return data;
}

} // namespace vantor
