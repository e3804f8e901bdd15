// Lets a story follow the bus until it is told to end.
#ifndef APPLIST_TOOLS_LIVEWATCH_H
#define APPLIST_TOOLS_LIVEWATCH_H

#include <glib.h>

#include <monitor/Narrator.h>
#include <monitor/Story.h>
#include <shared/Output.h>

/** @param seconds and @p count: 0 for no limit. @return the exit status */
int WatchBus(guint64 seconds, guint64 count, Story& story, Narrator& narrator, Output& output);

#endif
