// A system log that does nothing, so that what is measured is the library's own work.
#include <common/PlatformLog.h>

void PlatformLogPrint(int /*bufferId*/, int /*priority*/, const char* /*tag*/,
                      const char* /*format*/, ...) {}
