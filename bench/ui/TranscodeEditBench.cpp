// Editing a Transcode control, on the offscreen platform: the time from a new "Width Limit" to
// the repaint of the "Output Dimensions" it changes, with a probed 1080p source selected, set
// against one display frame at 60 Hz. The edit must not run the engine: the source's probe
// count is printed and must stay at the one probe made when it was selected.

#include "BenchSupport.h"
#include "WindowBenchSupport.h"

#include "MainWindow.h"
#include "pages/TranscodePage.h"
#include "workspace/SourceInspector.h"
#include "workspace/UserChoices.h"
#include "workspace/Workspace.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QSpinBox>
#include <QTabWidget>

using namespace vantor;

namespace {

struct PaintWatch : QObject {
    bool painted = false;
    bool eventFilter(QObject *, QEvent *event) override
    {
        painted = painted || event->type() == QEvent::Paint;
        return false;
    }
};

void waitFor(const std::function<bool()> &done)
{
    while (!done())
        QApplication::processEvents(QEventLoop::AllEvents, 5);
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const QString base = bench::scratch(QStringLiteral("transcode-edit"));
    QDir(base).removeRecursively();
    QDir().mkpath(base);
    const QString clip = base + QStringLiteral("/A001C001.mov");
    bench::run({QStringLiteral("ffmpeg"), QStringLiteral("-y"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                QStringLiteral("testsrc2=size=1920x1080:rate=25"), QStringLiteral("-t"), QStringLiteral("1"),
                QStringLiteral("-c:v"), QStringLiteral("libx264"), clip});

    bench::NoChoices choices;
    auto workspace = std::make_unique<Workspace>(base + QStringLiteral("/support"), runJobPhases, &choices);
    auto window = std::make_unique<ui::MainWindow>(*workspace);
    window->show();
    auto *page = window->findChild<ui::TranscodePage *>();
    // A probe is counted when an inspection ends; still frames and other changes are not probes.
    int probes = 0;
    bool wasInspecting = false;
    QObject::connect(&page->inspector(), &SourceInspector::changed, [&] {
        probes += wasInspecting && !page->inspector().inspecting();
        wasInspecting = page->inspector().inspecting();
    });
    workspace->receive({clip}, Page::transcode);
    waitFor([&] { return page->inspector().info().has_value() || page->inspector().sourceError().has_value(); });
    if (!page->inspector().info()) {
        std::printf("the source could not be probed: %s\n", qPrintable(*page->inspector().sourceError()));
        return 1;
    }
    window->findChild<QTabWidget *>(QStringLiteral("settingsTabs"))->setCurrentIndex(1);
    auto *width = window->findChild<QSpinBox *>(QStringLiteral("maxWidth"));
    auto *output = window->findChild<QLabel *>(QStringLiteral("outputDimensions"));
    PaintWatch watch;
    output->installEventFilter(&watch);
    QApplication::processEvents();

    // The Summary's "Estimated Output" follows the same edit; it is timed until its text changes.
    auto *estimate = window->findChild<QLabel *>(QStringLiteral("summaryEstimatedOutput"));
    std::vector<double> times, synchronous, estimates;
    for (int edit = 0; edit < 200; ++edit) {
        const QString before = output->text(), estimateBefore = estimate->text();
        watch.painted = false;
        QElapsedTimer clock;
        clock.start();
        width->setValue(edit % 2 ? 1280 : 960);
        synchronous.push_back(clock.nsecsElapsed() / 1e9);
        double estimated = -1;
        const auto seeEstimate = [&] {
            if (estimated < 0 && estimate->text() != estimateBefore)
                estimated = clock.nsecsElapsed() / 1e9;
        };
        waitFor([&] {
            seeEstimate();
            return watch.painted && output->text() != before;
        });
        times.push_back(clock.nsecsElapsed() / 1e9);
        seeEstimate();
        if (estimated >= 0)
            estimates.push_back(estimated);
    }
    std::sort(estimates.begin(), estimates.end());
    if (estimates.empty())
        std::printf("Estimated Output: unchanged by these edits\n");
    else
        std::printf("Estimated Output updated after an edit (%zu of 200 changed it): median %.1f ms, worst %.1f ms\n",
                    estimates.size(), estimates[estimates.size() / 2] * 1000, estimates.back() * 1000);
    std::sort(times.begin(), times.end());
    std::sort(synchronous.begin(), synchronous.end());
    std::printf("of which the edit itself (preset, validation, every tab shown again): median %.1f ms\n",
                synchronous[synchronous.size() / 2] * 1000);
    const double median = times[times.size() / 2];
    const double worst = times.back();
    const double frame = 1.0 / 60;
    bench::report("Transcode control edit to repaint, median of 200", "one 60 Hz frame", median, frame, "time ratio",
                  median / frame, "<= 1", median / frame <= 1);
    bench::report("Transcode control edit to repaint, worst of 200", "one 60 Hz frame", worst, frame, "time ratio",
                  worst / frame, "<= 3", worst / frame <= 3);
    std::printf("probes of the source during the edits: %d (target 0) %s\n", probes - 1, probes == 1 ? "ok" : "MISSED");
    window.reset();
    workspace.reset();
    QDir(base).removeRecursively();
    return 0;
}
