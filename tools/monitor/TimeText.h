// Times and spans as people and programs read them.
#ifndef APPLIST_TOOLS_TIMETEXT_H
#define APPLIST_TOOLS_TIMETEXT_H

#include <string>

#include <monitor/SeenMessage.h>

namespace applistctl::TimeText {

/** "0.42 ms", "3.1 s" */
std::string Span(Microseconds span);

/** The time of day here, "14:34:24.960992" */
std::string OfDay(Microseconds time);

/** "2025-11-21T14:34:24.960992Z" */
std::string Iso(Microseconds time);

} // namespace applistctl::TimeText

#endif
