// Reads the applications of a machine from its desktop entries.
#ifndef APPLIST_TOOLS_DESKTOPENTRIES_H
#define APPLIST_TOOLS_DESKTOPENTRIES_H

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include <shared/ItemListing.h>

namespace applistctl {

/**
 * Reads folders of desktop entries. The unique id is the desktop file id: the path below the
 * folder, with '-' for '/'. An id hides the same id of later folders, as in desktop menus.
 */
class DesktopEntries {
public:
    /** Reads the existing XDG application folders of the user and of the machine. */
    void ReadDefaultFolders();

    /** @return false when @p folder cannot be read, with the reason in @p problem */
    bool ReadFolder(const std::string& folder, std::string& problem);

    /** The visible entries, sorted by name. */
    std::vector<ListedItem> Shown() const;

    /** The number of entries that are marked Hidden or NoDisplay. */
    std::size_t HiddenCount() const { return m_hiddenCount; }

    /** The unusable files, each with the reason. */
    const std::vector<std::string>& Skipped() const { return m_skipped; }

private:
    bool ReadSubfolder(const std::string& folder, const std::string& idPrefix,
                       std::string& problem);
    void ReadFile(const std::string& path, const std::string& id);

    std::vector<ListedItem> m_shown;
    std::set<std::string> m_ids;
    std::size_t m_hiddenCount = 0;
    std::vector<std::string> m_skipped;
};

} // namespace applistctl

#endif
