// Prints items and lists. Host and partner print a list in the same way, so that equal lists have
// equal listings.
#ifndef APPLIST_TOOLS_ITEMLISTING_H
#define APPLIST_TOOLS_ITEMLISTING_H

#include <cstddef>
#include <string>
#include <vector>

#include <shared/Output.h>

namespace applistctl {

struct ListedItem {
    std::string name;
    std::string id;
};

namespace ItemListing {

/** The number of characters, or of bytes for a text that is not UTF-8. */
std::size_t Width(const std::string& text);

/** "1 item", "2 items" */
std::string Count(std::size_t items);

/** "Clock (clock.desktop)" */
std::string Describe(const ListedItem& item);

/** Prints name and id in columns, one item per line. */
void ShowItems(Output& output, const std::vector<ListedItem>& items);

/**
 * Prints the list, from a line "list: N items" to a line "selection: ...".
 * @param selection null for none
 */
void ShowList(Output& output, const std::vector<ListedItem>& items, const ListedItem* selection);

/**
 * Replaces control characters, also those of the writing direction, and bytes outside UTF-8 by
 * \xNN.
 */
std::string Printable(const std::string& text);

/** The same with \uNNNN, for an object on one line. The object stays equal. */
std::string PrintableJson(const std::string& json);

} // namespace ItemListing

} // namespace applistctl

#endif
