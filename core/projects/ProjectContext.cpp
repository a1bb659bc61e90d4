#include "projects/ProjectContext.h"

#include "base/FieldReader.h"
#include "base/FieldWriter.h"

#include <QJsonDocument>

namespace vantor {

ProjectContext ProjectContext::fromJson(const QJsonValue &value)
{
    return readFields<ProjectContext>(value);
}

QByteArray ProjectContext::markerData() const
{
    // Outside strings compact JSON has no slash, so escaping every one touches only text.
    QByteArray data = QJsonDocument(fieldsToJson(*this)).toJson(QJsonDocument::Compact);
    data.replace("/", "\\/");
    return data;
}

} // namespace vantor
