// An item of a host. A test reads its texts without the library.
#pragma once

#include <string>
#include <utility>

#include <applist/AppListItem.h>

#include "Records.h"

inline namespace applist_test {

class PlainItem : public AppListItem {
public:
    explicit PlainItem(Records::Record content) : record(std::move(content)) {}
    PlainItem(std::string name, std::string id) : record{std::move(name), std::move(id)} {}
    std::string GetVisibleName() override { return record.name; }
    std::string GetUnigueId() override { return record.id; }

    /** The bytes of the item's record. */
    std::string Bytes() const { return Records::Write(record); }

    Records::Record record;
};

} // namespace applist_test
