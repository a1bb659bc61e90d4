#include "projects/ProjectTemplate.h"

#include "base/JsonCodec.h"

namespace vantor {

QJsonObject ProjectTemplate::toJson() const
{
    return QJsonObject {
        { QStringLiteral("id"), JsonCodec::uuid(id) },
        { QStringLiteral("name"), name },
        { QStringLiteral("folders"), QJsonArray::fromStringList(folders) },
    };
}

ProjectTemplate ProjectTemplate::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "ProjectTemplate");
    ProjectTemplate result;
    result.id = reader.uuid("id");
    result.name = reader.string("name");
    for (const QJsonValue &folder : reader.array("folders")) {
        if (!folder.isString())
            reader.fail("folders", QStringLiteral("expected an array of strings"));
        result.folders << folder.toString();
    }
    return result;
}

} // namespace vantor
