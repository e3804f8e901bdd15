#include <partner/RefusedRole.h>

#include <string>

#include <check/BusPolicy.h>

namespace applistctl {

void RefusedRole::Explain(Output& output) {
    const std::string user = BusPolicy::CurrentUser();
    const BusPolicy policy(BusPolicy::DefaultFolders(), BusPolicy::Role::Partner);
    output.Failure(policy.Describe(user));
    if (policy.Names(user)) {
        output.Failure("let the bus reload its configuration: systemctl reload dbus");
    } else {
        output.Failure("write this file to " +
                       BusPolicy::DropInPath(user, BusPolicy::Role::Partner) +
                       ", and let the bus reload its configuration (systemctl reload dbus):");
        output.Verbatim(BusPolicy::DropIn(user, BusPolicy::Role::Partner));
    }
    output.Failure(
        "run \"applistctl check\" as the user of the host: it explains the policy of the "
        "host");
}

} // namespace applistctl
