#include <gmock/gmock.h>

#ifdef VANTOR_TEST_WIDGETS
#include <QApplication>
#include <QStandardPaths>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

int main(int argc, char **argv)
{
    TestApplication application(argc, argv);
#ifdef VANTOR_TEST_WIDGETS
    // The dialogs remember folders in the user's settings; tests keep away from them.
    QStandardPaths::setTestModeEnabled(true);
#endif
    ::testing::InitGoogleMock(&argc, argv);
    // Removable volumes come from a bus a test starts, never from this machine's cards.
    if (!qEnvironmentVariableIsSet("VANTOR_SYSTEM_BUS_ADDRESS"))
        qputenv("VANTOR_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/vantor-test-bus");
    // The random-kill soaks (suites named *Soak) run only when asked for by name: make soak.
    // Suites named *Child are the bodies of child processes that other tests start by name.
    if (::testing::GTEST_FLAG(filter) == "*")
        ::testing::GTEST_FLAG(filter) = "-*Soak.*:*Child.*";
    return RUN_ALL_TESTS();
}
