#pragma once

#include <QString>

namespace vantor::cli {

// A one-line progress bar on stderr, drawn only when stderr is a terminal, so pipes and logs
// stay clean. Redraws at most once per whole percent.
class ProgressBar {
public:
    explicit ProgressBar(const QString &label);
    ~ProgressBar();
    void update(double fraction);
    void finish();

private:
    QString m_label;
    bool m_enabled;
    int m_lastPercent = -1;
};

} // namespace vantor::cli
