// The exit statuses of applistctl.
#ifndef APPLIST_TOOLS_EXITSTATUS_H
#define APPLIST_TOOLS_EXITSTATUS_H

namespace applistctl {

enum ExitStatus : int {
    EXIT_STATUS_DONE = 0,
    EXIT_STATUS_FAILED = 1,
    EXIT_STATUS_USAGE = 2,
    EXIT_STATUS_NO_BUS = 3,   ///< no bus, or the connection was lost
    EXIT_STATUS_TROUBLE = 4,  ///< done, and a problem was found
    EXIT_STATUS_HALF_OPEN = 5 ///< done, and only one side of a pair is connected
};

} // namespace applistctl

#endif
