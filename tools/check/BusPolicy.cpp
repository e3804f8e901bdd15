#include <check/BusPolicy.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <vector>

#include <gio/gio.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <ipc/HandshakeNames.h>
#include <shared/Endpoint.h>

namespace applistctl {

namespace {

std::vector<std::string> NamesOf(BusPolicy::Role role) {
    std::vector<std::string> names;
    for (const char* const step : HANDSHAKE_STEPS) {
        names.push_back(role == BusPolicy::Role::Host
                            ? HandshakeNames::EndpointName(ENDPOINT_ID, step)
                            : HandshakeNames::PartnerName(ENDPOINT_ID, step));
    }
    return names;
}

const char* TextOf(BusPolicy::Role role) {
    return role == BusPolicy::Role::Host ? "host" : "partner";
}

// What GMarkup reports of one file, in the order of the file.
struct Reader {
    std::vector<std::string> names; ///< of the role
    std::string kind;               ///< of the present <policy>
    std::string name;
    std::vector<std::pair<std::string, std::string>> identities;

    static void OnElement(GMarkupParseContext* /*context*/, const char* element, const char** names,
                          const char** values, gpointer user_data, GError** /*error*/) {
        auto& self = *static_cast<Reader*>(user_data);
        const std::string tag = element;
        if (tag == "policy") {
            self.kind = names[0] != nullptr ? names[0] : "";
            self.name = names[0] != nullptr ? values[0] : "";
        }
        for (std::size_t i = 0; tag == "allow" && names[i] != nullptr; ++i) {
            const std::string owned = std::string(names[i]) == "own" ? values[i] : "";
            const bool hasRole =
                std::find(self.names.begin(), self.names.end(), owned) != self.names.end();
            const std::pair<std::string, std::string> identity(self.kind, self.name);
            if (hasRole && (self.identities.empty() || self.identities.back() != identity)) {
                self.identities.push_back(identity);
            }
        }
    }
};

std::string NumberOf(const std::string& user) {
    const passwd* const entry = getpwnam(user.c_str());
    return entry != nullptr ? std::to_string(entry->pw_uid) : "";
}

bool IsRoot(const std::string& user) {
    return user == "root" || user == "0";
}

bool IsNumber(const std::string& name) {
    return !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
}

bool IsUser(const std::string& name) {
    return IsNumber(name) || getpwnam(name.c_str()) != nullptr;
}

bool IsGroup(const std::string& name) {
    return IsNumber(name) || getgrnam(name.c_str()) != nullptr;
}

bool IsInGroup(const std::string& user, const std::string& group) {
    const passwd* const entry = getpwnam(user.c_str());
    if (entry == nullptr) {
        return false;
    }
    std::vector<gid_t> groups(1000);
    int count = static_cast<int>(groups.size());
    getgrouplist(user.c_str(), entry->pw_gid, groups.data(), &count);
    groups.resize(static_cast<std::size_t>(std::max(count, 0)));
    return std::any_of(groups.begin(), groups.end(), [&](gid_t id) {
        const struct group* const known = getgrgid(id);
        return group == std::to_string(id) || (known != nullptr && group == known->gr_name);
    });
}

} // namespace

std::string BusPolicy::CurrentUser() {
    const passwd* const user = getpwuid(geteuid());
    return user != nullptr ? user->pw_name : std::to_string(geteuid());
}

std::vector<std::string> BusPolicy::DefaultFolders() {
    return {"/usr/share/dbus-1/system.d", "/usr/local/share/dbus-1/system.d",
            "/etc/dbus-1/system.d"};
}

BusPolicy::BusPolicy(const std::vector<std::string>& folders, Role role)
    : m_folders(folders), m_role(role) {
    for (const std::string& folder : folders) {
        std::vector<std::string> files;
        g_autoptr(GDir) content = g_dir_open(folder.c_str(), 0, nullptr);
        while (const char* const name = content != nullptr ? g_dir_read_name(content) : nullptr) {
            if (g_str_has_suffix(name, ".conf") != FALSE) {
                files.push_back(folder + "/" + name);
            }
        }
        std::sort(files.begin(), files.end());
        for (const std::string& file : files) {
            ReadFile(file);
        }
    }
}

void BusPolicy::ReadFile(const std::string& path) {
    g_autofree char* text = nullptr;
    gsize size = 0;
    if (g_file_get_contents(path.c_str(), &text, &size, nullptr) == FALSE) {
        return;
    }
    Reader reader{NamesOf(m_role), {}, {}, {}};
    const GMarkupParser parser = {Reader::OnElement, nullptr, nullptr, nullptr, nullptr};
    GMarkupParseContext* const context =
        g_markup_parse_context_new(&parser, GMarkupParseFlags{}, &reader, nullptr);
    g_autoptr(GError) error = nullptr;
    const bool isWhole =
        g_markup_parse_context_parse(context, text, static_cast<gssize>(size), &error) != FALSE &&
        g_markup_parse_context_end_parse(context, &error) != FALSE;
    g_markup_parse_context_free(context);
    if (!isWhole && strstr(text, HandshakeNames::BaseName(ENDPOINT_ID).c_str()) != nullptr) {
        m_malformed += "; " + path + " is malformed: " + error->message;
    }
    for (const auto& [kind, name] : reader.identities) {
        m_blocks.push_back({path, kind, name});
    }
}

std::string BusPolicy::Members() const {
    std::string text;
    for (const Block& block : m_blocks) {
        if (block.kind == "user" || block.kind == "group") {
            text.append(text.empty() ? "" : " or ").append(block.kind + " " + block.name);
        }
    }
    return text;
}

std::string BusPolicy::OtherMembers() const {
    std::set<std::string> members;
    for (const Block& block : m_blocks) {
        const bool isUser = block.kind == "user" && !IsRoot(block.name) && IsUser(block.name);
        if (isUser || (block.kind == "group" && IsGroup(block.name))) {
            members.insert(block.kind + " " + block.name);
        }
    }
    std::string text;
    for (const std::string& member : members) {
        text += (text.empty() ? "" : " or ") + member;
    }
    return text;
}

bool BusPolicy::Names(const std::string& user) const {
    return std::any_of(m_blocks.begin(), m_blocks.end(), [&](const Block& block) {
        return block.kind == "context" ||
               (block.kind == "user" && (block.name == user || block.name == NumberOf(user))) ||
               (block.kind == "group" && IsInGroup(user, block.name));
    });
}

std::string BusPolicy::DescribeAbsence(const std::string& role) const {
    std::string folders;
    for (const std::string& folder : m_folders) {
        folders += (folders.empty() ? "" : ", ") + folder;
    }
    return "no policy in " + folders + " names a user for the " + role + m_malformed;
}

std::string BusPolicy::Describe(const std::string& user) const {
    if (m_blocks.empty()) {
        return DescribeAbsence(TextOf(m_role));
    }
    std::string text;
    for (const Block& block : m_blocks) {
        text.append(text.empty() ? "" : ", ").append(block.file + " names ");
        text += block.kind == "context" ? "all users" : block.kind + " " + block.name;
    }
    return text + " for the " + TextOf(m_role) + ", and you are " + user + m_malformed;
}

std::string BusPolicy::DropInPath(const std::string& user, Role role) {
    return "/etc/dbus-1/system.d/org.morva.JavaMW-" + user +
           (role == Role::Host ? ".conf" : "-partner.conf");
}

std::string BusPolicy::DropIn(const std::string& user, Role role) {
    const std::string path = HandshakeNames::ObjectPath(ENDPOINT_ID);
    std::string text = "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration "
                       "1.0//EN\"\n"
                       " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                       "<busconfig>\n  <policy user=\"" +
                       user + "\">\n";
    for (const std::string& name : NamesOf(role)) {
        text += "    <allow own=\"" + name + "\"/>\n";
    }
    for (const auto& [type, member] :
         {std::pair("method_call", JavaMWDbusRemote::JAVAMW_DBUS_OBJ_METHOD),
          std::pair("signal", JavaMWDbusRemote::JAVAMW_DBUS_SIG_NAME)}) {
        text += std::string(R"(    <allow send_destination="*" send_type=")") + type +
                "\"\n           send_path=\"" + path + "\"\n           send_interface=\"" +
                JavaMWDbusRemote::JAVAMW_DBUS_OBJ_IFACE + "\"\n           send_member=\"" + member +
                "\"/>\n";
    }
    return text + "  </policy>\n</busconfig>\n";
}

} // namespace applistctl
