#pragma once

#include <QString>

namespace vantor {

// Hardware encoding, burn-ins and channel mapping of a preset.
struct FinishingOptions {
    bool hardware = false;
    qint64 hardwareQuality = 65;
    bool burnFilename = false;
    bool burnTimecode = false;
    QString burnText;
    QString burnPosition = QStringLiteral("Bottom Left");
    qint64 burnSize = 28;
    QString channelMap; // comma-separated 1-based source channels; empty keeps the layout

    // A text of blanks still counts as a burn-in: the user typed it.
    bool hasBurnIns() const { return burnFilename || burnTimecode || !burnText.isEmpty(); }

    static constexpr char typeName[] = "FinishingOptions";
    template <typename Self, typename Visitor> static void fields(Self &self, Visitor &v)
    {
        v.boolean("hardware", self.hardware);
        v.integer("hardwareQuality", self.hardwareQuality);
        v.boolean("burnFilename", self.burnFilename);
        v.boolean("burnTimecode", self.burnTimecode);
        v.string("burnText", self.burnText);
        v.string("burnPosition", self.burnPosition);
        v.integer("burnSize", self.burnSize);
        v.string("channelMap", self.channelMap);
    }
    bool operator==(const FinishingOptions &) const = default;
};

} // namespace vantor
