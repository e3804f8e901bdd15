// Runs the tests of the Qt model in an application without a display.
#include <cstdlib>
#include <string>

#include <malloc.h>

#include <QApplication>
#include <applist/AppListQtExecutor.h>
#include <gmock/gmock.h>

#include "QtHost.h"
#include "TaskOrder.h"

namespace {

// The task owns its executor, as the tasks of a client do.
void PostATask() {
    const AppListClient::Executor run = QtExecutor();
    run([run] { std::abort(); });
}

} // namespace

int main(int argc, char** argv) {
    mallopt(M_PERTURB, 0xA5); // overwrites released memory, so that its use is noticed
    testing::InitGoogleMock(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    const OrderedApplication<QApplication> application(argc, argv);
    if (argc == 2 && argv[1] == std::string(applist_test::POST_AND_END)) {
        PostATask();
        return 0;
    }
    return RUN_ALL_TESTS();
}
