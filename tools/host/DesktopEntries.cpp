#include <host/DesktopEntries.h>

#include <algorithm>

#include <glib.h>

namespace applistctl {

namespace {

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool IsSet(GKeyFile* file, const char* key) {
    return g_key_file_get_boolean(file, G_KEY_FILE_DESKTOP_GROUP, key, nullptr) != FALSE;
}

bool IsApplication(GKeyFile* file) {
    g_autofree char* type =
        g_key_file_get_string(file, G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_TYPE, nullptr);
    return g_strcmp0(type, G_KEY_FILE_DESKTOP_TYPE_APPLICATION) == 0;
}

// A name may contain an escaped line feed, which an item record cannot carry.
std::string OnOneLine(std::string name) {
    std::replace(name.begin(), name.end(), '\n', ' ');
    return name;
}

} // namespace

void DesktopEntries::ReadDefaultFolders() {
    std::string ignored;
    const std::string below = "/applications";
    ReadFolder(g_get_user_data_dir() + below, ignored);
    for (const char* const* folder = g_get_system_data_dirs(); *folder != nullptr; ++folder) {
        ReadFolder(*folder + below, ignored);
    }
}

bool DesktopEntries::ReadFolder(const std::string& folder, std::string& problem) {
    return ReadSubfolder(folder, "", problem);
}

bool DesktopEntries::ReadSubfolder(const std::string& folder, const std::string& idPrefix,
                                   std::string& problem) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GDir) directory = g_dir_open(folder.c_str(), 0, &error);
    if (directory == nullptr) {
        problem = error->message;
        return false;
    }
    while (const char* const name = g_dir_read_name(directory)) {
        const std::string path = folder + "/" + name;
        if (EndsWith(name, ".desktop")) {
            ReadFile(path, idPrefix + name);
        } else if (g_file_test(path.c_str(), G_FILE_TEST_IS_DIR) != FALSE &&
                   g_file_test(path.c_str(), G_FILE_TEST_IS_SYMLINK) == FALSE) {
            std::string subfolderProblem;
            if (!ReadSubfolder(path, idPrefix + name + "-", subfolderProblem)) {
                m_skipped.push_back(subfolderProblem);
            }
        }
    }
    return true;
}

void DesktopEntries::ReadFile(const std::string& path, const std::string& id) {
    if (id.find('\n') != std::string::npos) {
        m_skipped.push_back(path + ": its file name contains a line feed");
        return;
    }
    if (!m_ids.insert(id).second) {
        return;
    }
    g_autoptr(GKeyFile) file = g_key_file_new();
    g_autoptr(GError) error = nullptr;
    if (g_key_file_load_from_file(file, path.c_str(), G_KEY_FILE_KEEP_TRANSLATIONS, &error) ==
        FALSE) {
        m_skipped.push_back(path + ": " + error->message);
        return;
    }
    if (IsSet(file, G_KEY_FILE_DESKTOP_KEY_HIDDEN) ||
        IsSet(file, G_KEY_FILE_DESKTOP_KEY_NO_DISPLAY)) {
        ++m_hiddenCount;
        return;
    }
    if (!IsApplication(file)) {
        return;
    }
    g_autofree char* name = g_key_file_get_locale_string(
        file, G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_NAME, nullptr, &error);
    if (name == nullptr) {
        m_skipped.push_back(path + ": " + error->message);
        return;
    }
    m_shown.push_back({OnOneLine(name), id});
}

std::vector<ListedItem> DesktopEntries::Shown() const {
    std::vector<ListedItem> sorted = m_shown;
    std::sort(sorted.begin(), sorted.end(), [](const ListedItem& one, const ListedItem& other) {
        const int order = g_utf8_collate(one.name.c_str(), other.name.c_str());
        return order != 0 ? order < 0 : one.id < other.id;
    });
    return sorted;
}

} // namespace applistctl
