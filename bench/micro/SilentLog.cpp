// A system log that does nothing, so that the measured time is the library's own work.
#include <common/PlatformLog.h>

void PlatformLogPrint(int /*bufferId*/, int /*priority*/, const char* /*tag*/,
                      const char* /*format*/, ...) {}
