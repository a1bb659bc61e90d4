#pragma once

#include <QString>
#include <QStringList>
#include <array>
#include <optional>

namespace vantor {

// An output codec. The raw value is its identity, display name and JSON form.
struct Codec {
    enum Value { proresProxy, proresLT, prores422, proresHQ, prores4444, dnxLB, dnxSQ, dnxHQ, dnxHQX, h264, hevc, av1 };
    Value value = h264;

    constexpr Codec(Value v = h264) : value(v) {}
    QString rawValue() const;
    QString id() const { return rawValue(); }
    static std::optional<Codec> fromRawValue(const QString &raw);

    std::optional<int> proresProfile() const;
    std::optional<QString> dnxProfile() const;
    QString encoder() const;
    QStringList containers() const; // the first is the default
    bool isProRes() const { return proresProfile().has_value(); }
    bool isDnxHR() const { return dnxProfile().has_value(); }

    static constexpr std::array<Value, 12> allCases{proresProxy, proresLT, prores422, proresHQ,
                                                    prores4444,  dnxLB,    dnxSQ,     dnxHQ,
                                                    dnxHQX,      h264,     hevc,      av1};
    bool operator==(const Codec &) const = default;
};

} // namespace vantor
