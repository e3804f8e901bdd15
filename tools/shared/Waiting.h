// Waits inside a function while the main context runs.
#ifndef APPLIST_TOOLS_WAITING_H
#define APPLIST_TOOLS_WAITING_H

#include <functional>
#include <string>

namespace applistctl {

/**
 * Iterates the main context until @p happened returns true or @p seconds have passed. Only sources
 * of the context can change the condition. @return the last value of @p happened
 */
bool WaitUntil(const std::function<bool()>& happened, double seconds);

/** Iterates the main context for @p seconds. */
void WaitFor(double seconds);

/** @return false, with @p seconds unchanged, unless @p text is a number from 0 to 3600 */
bool ParseSeconds(const std::string& text, double& seconds);

/** "0.5 s" */
std::string InSeconds(double seconds);

} // namespace applistctl

#endif
