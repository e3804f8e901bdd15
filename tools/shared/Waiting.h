// Waiting in the middle of a function, while the main context goes on.
#ifndef APPLIST_TOOLS_WAITING_H
#define APPLIST_TOOLS_WAITING_H

#include <functional>
#include <string>

/**
 * Iterates the main context until @p happened or @p seconds are over. What is waited for comes
 * from the context's own callbacks. @return whether it happened
 */
bool WaitUntil(const std::function<bool()>& happened, double seconds);

/** Lets the main context work for so long. */
void WaitFor(double seconds);

/** @return false, with @p seconds unchanged, unless @p text is a time from 0 to an hour */
bool ParseSeconds(const std::string& text, double& seconds);

/** "0.5 s" */
std::string InSeconds(double seconds);

#endif
