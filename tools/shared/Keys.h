// Splits the input of a terminal into keys.
#ifndef APPLIST_TOOLS_KEYS_H
#define APPLIST_TOOLS_KEYS_H

#include <cstddef>
#include <string>

namespace applistctl {

/** @return the size of the first key of @p bytes, or 0 when the key is incomplete */
std::size_t FirstKey(const std::string& bytes);

/** Whether @p key is an escape sequence of a terminal, such as Delete: ESC [ 3 ~. */
bool IsSequence(const std::string& key);

} // namespace applistctl

#endif
