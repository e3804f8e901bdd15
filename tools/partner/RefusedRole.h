// Explains a name that the bus policy refuses to the partner: the users in the role of the partner,
// and the remedy.
#ifndef APPLIST_TOOLS_REFUSEDROLE_H
#define APPLIST_TOOLS_REFUSEDROLE_H

#include <shared/Output.h>

namespace applistctl::RefusedRole {

void Explain(Output& output);

} // namespace applistctl::RefusedRole

#endif
