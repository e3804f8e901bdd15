// Runs the tests of the Qt model in an application without a display.
#include <QApplication>
#include <gmock/gmock.h>

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
