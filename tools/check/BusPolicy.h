// The installed bus policies: the users and groups in one of the two roles, and a drop-in file for
// another user.
#ifndef APPLIST_TOOLS_BUSPOLICY_H
#define APPLIST_TOOLS_BUSPOLICY_H

#include <string>
#include <vector>

namespace applistctl {

class BusPolicy {
public:
    enum class Role { Host, Partner };

    /** The name of the user of this process, or the number of a user without a name. */
    static std::string CurrentUser();

    /** The folders of the system bus, the distribution's first. */
    static std::vector<std::string> DefaultFolders();

    /** Reads the files *.conf in @p folders, a malformed one up to its error. */
    explicit BusPolicy(const std::vector<std::string>& folders, Role role = Role::Host);

    /**
     * A text such as "FILE names user root for the host, and you are launcher". A malformed file
     * with a name of the handshake follows.
     */
    std::string Describe(const std::string& user) const;

    /** "no policy in FOLDER, FOLDER names a user for the host", with @p role at the end. */
    std::string DescribeAbsence(const std::string& role) const;

    /** The users and groups with the role, such as "user javamw or group media"; may be empty. */
    std::string Members() const;

    /** The same without root, and without users and groups that this machine lacks. */
    std::string OtherMembers() const;

    /** Whether a policy gives the role to @p user. */
    bool Names(const std::string& user) const;

    /** The file that gives this role to @p user: its path below /etc, and its text. */
    static std::string DropInPath(const std::string& user, Role role = Role::Host);
    static std::string DropIn(const std::string& user, Role role = Role::Host);

private:
    /** A <policy> that allows its user to own a name of the role. */
    struct Block {
        std::string file;
        std::string kind; ///< "user", "group" or "context"
        std::string name;
    };
    void ReadFile(const std::string& path);

    std::vector<std::string> m_folders;
    Role m_role;
    std::vector<Block> m_blocks;
    std::string m_malformed; ///< "; FILE is malformed: REASON" for each such file
};

} // namespace applistctl

#endif
