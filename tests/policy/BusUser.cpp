#include "BusUser.h"

#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace {

std::vector<gid_t> OwnGroups() {
    std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
    getgroups(static_cast<int>(groups.size()), groups.data());
    return groups;
}

gid_t GroupId(const std::string& name) {
    const group* const entry = getgrnam(name.c_str());
    if (entry == nullptr) {
        throw std::runtime_error("no group " + name);
    }
    return entry->gr_gid;
}

} // namespace

// The process has the user's ids during the lifetime of the object. The saved user id stays that of
// root, so that the process can restore its own ids.
class BusUser::UserSwitch {
public:
    explicit UserSwitch(const BusUser& user) : m_isNeeded(geteuid() == 0), m_groups(OwnGroups()) {
        if (m_isNeeded && (setgroups(user.m_groups.size(), user.m_groups.data()) != 0 ||
                           setresgid(user.m_gid, user.m_gid, 0) != 0 ||
                           setresuid(user.m_uid, user.m_uid, 0) != 0)) {
            throw std::runtime_error("cannot switch to another user");
        }
    }
    ~UserSwitch() {
        if (m_isNeeded && (setresuid(0, 0, 0) != 0 || setresgid(0, 0, 0) != 0 ||
                           setgroups(m_groups.size(), m_groups.data()) != 0)) {
            std::abort();
        }
    }

private:
    const bool m_isNeeded;
    const std::vector<gid_t> m_groups;
};

BusUser::BusUser() : m_uid(geteuid()), m_gid(getegid()), m_groups(OwnGroups()) {}

BusUser::BusUser(const std::string& name, const std::string& group,
                 const std::vector<std::string>& more) {
    const passwd* const entry = getpwnam(name.c_str());
    if (entry == nullptr) {
        throw std::runtime_error("no user " + name);
    }
    m_uid = entry->pw_uid;
    m_gid = group.empty() ? entry->pw_gid : GroupId(group);
    for (const std::string& another : more) {
        m_groups.push_back(GroupId(another));
    }
}

// The bus reads the user of a connection from the kernel, which records this user at connect().
GDBusConnection* BusUser::Connect(const PrivateBus& bus) const {
    const UserSwitch asUser(*this);
    return bus.Connect();
}

void BusUser::Become() const {
    if (geteuid() == 0 && (setgroups(m_groups.size(), m_groups.data()) != 0 || setgid(m_gid) != 0 ||
                           setuid(m_uid) != 0)) {
        std::abort();
    }
}

bool BusUser::MayRun(const std::string& program) const {
    const UserSwitch asUser(*this);
    return faccessat(AT_FDCWD, program.c_str(), X_OK, AT_EACCESS) == 0;
}
