#include <check/PolicyReport.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include <dirent.h>
#include <glib.h>

#include <shared/ExitStatus.h>

namespace applistctl {

namespace {

constexpr const char* RELOAD = ", and let the bus reload its configuration (systemctl reload dbus)";

} // namespace

std::optional<int> PolicyReport::FindProblem(const std::string& program, const CommandLine& line) {
    if (!line.Has("policies")) {
        return std::nullopt;
    }
    const std::string folder = line.options.at("policies");
    // An unreadable folder would look like one without policies.
    DIR* const content = opendir(folder.c_str());
    if (content == nullptr) {
        const std::string reason = std::strerror(errno); // before another call
        Output(program).Error("cannot read the folder " + folder + " of --policies: " + reason);
        return EXIT_STATUS_FAILED;
    }
    closedir(content);
    return std::nullopt;
}

// The policy is found where the bus finds it.
PolicyReport::PolicyReport(Output& output, Verdicts& verdicts, const CommandLine& line)
    : m_output(output),
      m_verdicts(verdicts),
      m_folders(line.Has("policies") ? std::vector<std::string>{line.options.at("policies")}
                                     : BusPolicy::DefaultFolders()) {}

// The policy that refuses is in a file, and so is its remedy.
void PolicyReport::HostLacks(const std::string& what, const std::string& text) {
    const BusPolicy policy(m_folders);
    if (policy.Names(m_user)) {
        NeedsReload(what, text, policy);
        return;
    }
    // A user of the role fits. Rights for another user would widen the policy.
    const std::string members = policy.OtherMembers();
    if (!members.empty()) {
        m_verdicts.Wrong(what, text + "; " + policy.Describe(m_user),
                         "run this check as " + members);
        return;
    }
    m_verdicts.Wrong(what, text + "; " + policy.Describe(m_user),
                     "write the file below to " + BusPolicy::DropInPath(m_user) + RELOAD);
    m_dropIn = BusPolicy::DropIn(m_user);
}

// The host's user sees the most: also the threads of the host, in /proc.
void PolicyReport::MayNotCall(const std::string& what, const std::string& text) {
    const BusPolicy partner(m_folders, BusPolicy::Role::Partner);
    const BusPolicy host(m_folders);
    for (const BusPolicy* const policy : {&host, &partner}) {
        if (policy->Names(m_user)) {
            NeedsReload(what, text, *policy);
            return;
        }
    }
    for (const BusPolicy* const policy : {&host, &partner}) {
        if (!policy->Members().empty()) {
            m_verdicts.Wrong(what, text + "; " + policy->Describe(m_user),
                             "run this check as " + policy->Members());
            return;
        }
    }
    m_verdicts.Wrong(what, text + "; " + partner.DescribeAbsence("host or the partner"),
                     "install the policy of the library, which names the users of host and "
                     "partner; for this user alone, write the file below to " +
                         BusPolicy::DropInPath(m_user, BusPolicy::Role::Partner) + RELOAD);
    m_dropIn = BusPolicy::DropIn(m_user, BusPolicy::Role::Partner);
}

std::string PolicyReport::OtherHostUsers(const std::string& user) const {
    const BusPolicy policy(m_folders);
    return user.empty() || policy.Names(user) ? "" : policy.Members();
}

void PolicyReport::NeedsReload(const std::string& what, const std::string& text,
                               const BusPolicy& policy) {
    m_verdicts.Wrong(
        what, text + "; " + policy.Describe(m_user),
        "let the bus reload its configuration (systemctl reload dbus, or dbus-broker); "
        "if the bus has read the file, add the missing rule of the library's policy, or remove "
        "a <deny> after it");
}

void PolicyReport::ShowFile() {
    m_output.Verbatim(std::exchange(m_dropIn, ""));
}

} // namespace applistctl
