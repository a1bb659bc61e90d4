#pragma once

#include <QJsonObject>
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

    QJsonObject toJson() const;
    static FinishingOptions fromJson(const QJsonValue &value); // every key required
    bool operator==(const FinishingOptions &) const = default;
};

} // namespace vantor
