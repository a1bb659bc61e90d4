#include "projects/ProjectTemplate.h"

#include "base/FieldReader.h"
#include "base/FieldWriter.h"

namespace vantor {

QJsonObject ProjectTemplate::toJson() const
{
    return fieldsToJson(*this);
}

ProjectTemplate ProjectTemplate::fromJson(const QJsonValue &value)
{
    return readFields<ProjectTemplate>(value);
}

} // namespace vantor
