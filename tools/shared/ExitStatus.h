// What applistctl's exit status says.
#ifndef APPLIST_TOOLS_EXITSTATUS_H
#define APPLIST_TOOLS_EXITSTATUS_H

enum ExitStatus : int {
    EXIT_STATUS_DONE = 0,
    EXIT_STATUS_FAILED = 1,
    EXIT_STATUS_USAGE = 2,
    EXIT_STATUS_NO_BUS = 3, ///< there is no bus, or it went away
    EXIT_STATUS_TROUBLE = 4 ///< done, and what was looked at is not as it should be
};

#endif
