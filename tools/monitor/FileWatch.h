// Lets a story follow a capture to its end.
#ifndef APPLIST_TOOLS_FILEWATCH_H
#define APPLIST_TOOLS_FILEWATCH_H

#include <string>

#include <glib.h>

#include <monitor/Narrator.h>
#include <monitor/Story.h>
#include <shared/Output.h>

/** @param count 0 for no limit. @return the exit status */
int WatchFile(const std::string& file, guint64 count, Story& story, Narrator& narrator,
              Output& output);

#endif
