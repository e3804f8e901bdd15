// Analyses a capture to its end.
#ifndef APPLIST_TOOLS_FILEWATCH_H
#define APPLIST_TOOLS_FILEWATCH_H

#include <string>

#include <glib.h>

#include <monitor/Analysis.h>
#include <monitor/Reporter.h>
#include <shared/Output.h>

namespace applistctl {

/** @param count 0 for no limit. @return the exit status */
int WatchFile(const std::string& file, guint64 count, Analysis& analysis, Reporter& reporter,
              Output& output);

} // namespace applistctl

#endif
