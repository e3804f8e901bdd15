// Analyses the messages on the bus until a signal or a limit ends it.
#ifndef APPLIST_TOOLS_LIVEWATCH_H
#define APPLIST_TOOLS_LIVEWATCH_H

#include <glib.h>

#include <monitor/Analysis.h>
#include <monitor/Reporter.h>
#include <shared/Output.h>

namespace applistctl {

/** @param seconds and @p count: 0 for no limit. @return the exit status */
int WatchBus(guint64 seconds, guint64 count, Analysis& analysis, Reporter& reporter,
             Output& output);

} // namespace applistctl

#endif
