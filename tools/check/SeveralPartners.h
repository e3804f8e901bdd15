// Reports a bus with more than one partner: the host binds to the first one, and the other one
// takes the next host.
#ifndef APPLIST_TOOLS_SEVERALPARTNERS_H
#define APPLIST_TOOLS_SEVERALPARTNERS_H

#include <functional>
#include <string>

#include <gio/gio.h>

#include <check/BusSurvey.h>
#include <check/Verdicts.h>

namespace applistctl::SeveralPartners {

/**
 * Reports the partners when @p survey has more than one. Waits for the end of a partner that is
 * being replaced. Without match rules, the bus shows no partners.
 */
void Report(GDBusConnection* connection, const BusSurvey& survey, Verdicts& verdicts,
            const std::function<std::string(const Participant&)>& describe);

} // namespace applistctl::SeveralPartners

#endif
