#include "state/AppState.h"

#include "base/JsonCodec.h"
#include "base/VantorError.h"
#include "projects/ProjectTemplateService.h"
#include "presets/PresetService.h"

namespace vantor {

namespace {

template <typename Record> QJsonArray encodeList(const std::vector<Record> &records)
{
    QJsonArray array;
    for (const Record &record : records)
        array.append(record.toJson());
    return array;
}

template <typename Record> std::vector<Record> decodeList(const JsonReader &reader, const char *key)
{
    const QJsonArray array = reader.array(key);
    std::vector<Record> records;
    records.reserve(std::size_t(array.size()));
    for (const QJsonValue &value : array)
        records.push_back(Record::fromJson(value));
    return records;
}

} // namespace

AppState AppState::fresh()
{
    AppState state;
    state.templates = ProjectTemplateService::defaults();
    const auto presets = PresetService::defaults();
    state.presets.assign(presets.begin(), presets.end());
    return state;
}

QJsonObject AppState::toJson() const
{
    QJsonObject object {
        { QStringLiteral("version"), version },
        { QStringLiteral("templates"), encodeList(templates) },
        { QStringLiteral("presets"), encodeList(presets) },
        { QStringLiteral("jobs"), encodeList(jobs) },
        { QStringLiteral("watches"), encodeList(watches) },
        { QStringLiteral("ffmpeg"), ffmpeg },
    };
    if (project)
        object.insert(QStringLiteral("project"), project->toJson());
    if (projectGrant)
        object.insert(QStringLiteral("projectGrant"), projectGrant->toJson());
    if (transcodeDestination)
        object.insert(QStringLiteral("transcodeDestination"), transcodeDestination->toJson());
    return object;
}

AppState AppState::fromJson(const QJsonValue &value)
{
    const JsonReader reader(value, "AppState");
    AppState state;
    state.version = reader.integer("version");
    // Its other keys may mean what this build does not know: it is neither read nor written over.
    if (state.version > currentVersion)
        throw DecodingError(QStringLiteral("The state file was written by a newer version of Vantor (state version "
                                           "%1; this version reads up to %2). Use the newer version.")
                                .arg(state.version)
                                .arg(currentVersion));
    state.templates = decodeList<ProjectTemplate>(reader, "templates");
    state.presets = decodeList<TranscodePreset>(reader, "presets");
    state.jobs = decodeList<MediaJob>(reader, "jobs");
    if (reader.has("project"))
        state.project = ProjectContext::fromJson(reader.value("project"));
    if (reader.has("projectGrant"))
        state.projectGrant = FileGrant::fromJson(reader.value("projectGrant"));
    state.watches = decodeList<WatchFolder>(reader, "watches");
    state.ffmpeg = reader.string("ffmpeg");
    if (reader.has("transcodeDestination"))
        state.transcodeDestination = FileGrant::fromJson(reader.value("transcodeDestination"));
    return state;
}

} // namespace vantor
