#include "Commands.h"

#include "WindowApp.h"
#include "base/FileIo.h"

#include <QApplication>
#include <QCoreApplication>
#include <QGuiApplication>
#include <memory>

namespace {

void describe()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Vantor"));
    QCoreApplication::setApplicationName(QStringLiteral("Vantor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VANTOR_VERSION));
#ifdef VANTOR_FAULT_POINTS
    vantor::FileIo::Faults::loadFromEnvironment(); // test builds only: crash tests drive the process
#endif
}

} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QStringList received;
    // Headless commands never touch the display; only the window makes a QApplication.
    if (vantor::cli::opensWindow(arguments, &received)) {
        QApplication application(argc, argv);
        describe();
        return vantor::ui::runWindow(received);
    }
    if (vantor::cli::drawsPages(arguments)) {
        qputenv("QT_QPA_PLATFORM", "offscreen"); // fonts and painting, never a display
        QGuiApplication application(argc, argv);
        describe();
        return vantor::cli::dispatch(QCoreApplication::arguments().mid(1));
    }
    QCoreApplication application(argc, argv);
    describe();
    return vantor::cli::dispatch(QCoreApplication::arguments().mid(1));
}
