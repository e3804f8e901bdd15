// How items and lists are shown. Host and partner show a list in the same way, so that two lists
// are equal when their listings are.
#ifndef APPLIST_TOOLS_ITEMLISTING_H
#define APPLIST_TOOLS_ITEMLISTING_H

#include <cstddef>
#include <string>
#include <vector>

#include <shared/Output.h>

struct ListedItem {
    std::string name;
    std::string id;
};

namespace ItemListing {

/** "1 item", "2 items" */
std::string Count(std::size_t items);

/** "Clock (clock.desktop)" */
std::string Describe(const ListedItem& item);

/** Name and id in columns, one item a line. */
void ShowItems(Output& output, const std::vector<ListedItem>& items);

/**
 * The whole list, from a line "list: N items" to a line "selection: ...".
 * @param selection null for none
 */
void ShowList(Output& output, const std::vector<ListedItem>& items, const ListedItem* selection);

/** Bytes that a terminal could take for commands are shown as \xNN. */
std::string Printable(const std::string& text);

} // namespace ItemListing

#endif
