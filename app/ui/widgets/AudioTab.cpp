#include "widgets/AudioTab.h"

#include <QComboBox>
#include <QLineEdit>
#include <QVBoxLayout>

namespace vantor::ui {

namespace {

// Tracks are chosen by number, the same in every source, so more are offered than one source has.
constexpr int offeredTracks = 16;

} // namespace

AudioTab::AudioTab(PresetEditing &editing, QWidget *parent) : PresetTab(editing, parent)
{
    auto *layout = new QVBoxLayout(this);
    QVBoxLayout *encoding = section(QStringLiteral("Audio Encoding"), layout);
    Choices modes;
    for (const AudioMode::Value mode : AudioMode::allCases)
        modes.append({AudioMode(mode).rawValue(), AudioMode(mode).rawValue()});
    choice(encoding, QStringLiteral("audio"), QStringLiteral("Codec"), modes,
           [](const TranscodePreset &p) { return QVariant(p.audio.rawValue()); },
           [](TranscodePreset &p, const QVariant &v) { p.audio = AudioMode::fromRawValue(v.toString()).value_or(p.audio); });
    choice(encoding, QStringLiteral("sampleRate"), QStringLiteral("Sample Rate"),
           {{QStringLiteral("44.1 kHz"), 44100}, {QStringLiteral("48 kHz"), 48000}, {QStringLiteral("96 kHz"), 96000}},
           [](const TranscodePreset &p) { return QVariant(p.sampleRate); },
           [](TranscodePreset &p, const QVariant &v) { p.sampleRate = v.toLongLong(); });
    choice(encoding, QStringLiteral("channels"), QStringLiteral("Channels"),
           {{QStringLiteral("Preserve"), 0}, {QStringLiteral("Mono"), 1}, {QStringLiteral("Stereo"), 2}},
           [](const TranscodePreset &p) { return QVariant(p.channels); },
           [](TranscodePreset &p, const QVariant &v) { p.channels = v.toLongLong(); });
    choice(encoding, QStringLiteral("bitDepth"), QStringLiteral("Bit Depth"),
           {{QStringLiteral("16 Bit"), 16}, {QStringLiteral("24 Bit"), 24}, {QStringLiteral("32 Bit"), 32}},
           [](const TranscodePreset &p) { return QVariant(p.bitDepth); },
           [](TranscodePreset &p, const QVariant &v) { p.bitDepth = v.toLongLong(); });
    number(encoding, QStringLiteral("audioBitrate"), QStringLiteral("Bitrate / kbps"), 0, 1024,
           [](const TranscodePreset &p) { return p.tuning().audioBitrate; },
           [](TranscodePreset &p, qint64 v) { tune(p, &EncodingOptions::audioBitrate, v); });
    number(encoding, QStringLiteral("audioGain"), QStringLiteral("Gain / dB"), -60, 60,
           [](const TranscodePreset &p) { return p.tuning().audioGain; },
           [](TranscodePreset &p, qint64 v) { tune(p, &EncodingOptions::audioGain, v); });

    QVBoxLayout *tracks = section(QStringLiteral("Track Selection"), layout);
    Choices numbers{{QStringLiteral("All Audio Tracks"), -1}};
    for (int track = 1; track <= offeredTracks; ++track)
        numbers.append({QStringLiteral("Track %1").arg(track), track - 1});
    choice(tracks, QStringLiteral("audioTrack"), QStringLiteral("Track"), numbers,
           [](const TranscodePreset &p) { return QVariant(p.tuning().audioTrack); },
           [](TranscodePreset &p, const QVariant &v) { tune(p, &EncodingOptions::audioTrack, v.toLongLong()); });
    help(tracks, QStringLiteral("Track selection uses the same track number in every loaded source."));
    text(tracks, QStringLiteral("channelMap"), QStringLiteral("Channel Mapping"),
         [](const TranscodePreset &p) { return p.finish().channelMap; },
         [](TranscodePreset &p, const QString &v) { finish(p, &FinishingOptions::channelMap, v); })
        ->setPlaceholderText(QStringLiteral("Example: 2,1 swaps stereo"));
    help(tracks, QStringLiteral("Leave empty to preserve channels. Otherwise choose one track, then list source channel "
                                "numbers in output order. Supports 1, 2, 4, 6 or 8 channels."));
    layout->addStretch(1);
}

} // namespace vantor::ui
