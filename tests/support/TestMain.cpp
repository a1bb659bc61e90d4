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
    return RUN_ALL_TESTS();
}
