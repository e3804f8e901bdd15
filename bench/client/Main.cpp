// The client process: measures the library's requests and notifications against bare GDBus. Started
// by the driver, pinned to its core, with the private bus in DBUS_SYSTEM_BUS_ADDRESS.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Peak.h"
#include "Rows.h"
#include "Selection.h"

int main(int argc, char** argv) {
    if (argc == 4 && std::string(argv[1]) == "--peak") {
        MeasurePeak(argv[2], static_cast<std::size_t>(std::atol(argv[3])));
    } else if (argc == 5) {
        const Selection selection(argv[4]);
        RunRows({argv[1], argv[2], [&](const std::string& row) { return selection.Has(row); },
                 std::string(argv[3]) == "quick"});
    } else {
        std::fputs("Usage: applist_bench_client OUT LOG quick|full ROWS | --peak KIND BYTES\n",
                   stderr);
        return 2;
    }
}
