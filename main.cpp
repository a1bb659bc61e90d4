#include "Commands.h"

#include "model/FileIo.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Vantor"));
    QCoreApplication::setApplicationName(QStringLiteral("Vantor"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VANTOR_VERSION));
    vantor::FileIo::Faults::loadFromEnvironment();
    return vantor::cli::dispatch(QCoreApplication::arguments().mid(1));
}
