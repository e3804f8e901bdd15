// The items of a client inside the library: immutable and shared, so that copies of a list are
// cheap.
#ifndef APPLIST_CLIENT_SHAREDITEM_H
#define APPLIST_CLIENT_SHAREDITEM_H

#include <memory>
#include <vector>

#include <applist/AppListClient.h>

namespace applist_internal {

using SharedItem = std::shared_ptr<const AppListClient::Item>;
using SharedItems = std::vector<SharedItem>;

inline bool IsEqual(const SharedItem& left, const SharedItem& right) {
    return left == right ||
           (left->uniqueId == right->uniqueId && left->visibleName == right->visibleName);
}

} // namespace applist_internal

#endif
