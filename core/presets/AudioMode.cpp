#include "presets/AudioMode.h"

namespace vantor {

QString AudioMode::rawValue() const
{
    static const char *const names[] = {"PCM", "AAC", "Passthrough", "No audio"};
    return QLatin1String(names[value]);
}

std::optional<AudioMode> AudioMode::fromRawValue(const QString &raw)
{
    for (const Value candidate : allCases) {
        if (AudioMode(candidate).rawValue() == raw)
            return AudioMode(candidate);
    }
    return std::nullopt;
}

} // namespace vantor
