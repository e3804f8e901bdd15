// The list as plainly as it can be said, and the requests that the partner must be sent: what the
// fuzz targets compare the library's model with.
#ifndef APPLIST_FUZZ_PLAINMODEL_H
#define APPLIST_FUZZ_PLAINMODEL_H

#include <string>
#include <utility>
#include <vector>

#include <applist/AppListItem.h>

inline namespace applist_fuzz {

/** A host's item whose texts the target reads without going through the library. */
struct PlainItem : AppListItem {
    PlainItem(std::string itemName, std::string itemId)
        : name(std::move(itemName)), id(std::move(itemId)) {}
    std::string GetVisibleName() override { return name; }
    std::string GetUnigueId() override { return id; }
    std::string Record() const { return name + "\n" + id + "\n"; }

    const std::string name;
    const std::string id;
};

/** The lines of @p data that come in complete pairs: name and id. */
inline std::vector<std::pair<std::string, std::string>> PlainRecords(const std::string& data) {
    std::vector<std::pair<std::string, std::string>> records;
    std::string::size_type at = 0;
    for (;;) {
        const auto nameEnd = data.find('\n', at);
        const auto idEnd = nameEnd == std::string::npos ? nameEnd : data.find('\n', nameEnd + 1);
        if (idEnd == std::string::npos) {
            return records;
        }
        records.emplace_back(data.substr(at, nameEnd - at),
                             data.substr(nameEnd + 1, idEnd - nameEnd - 1));
        at = idEnd + 1;
    }
}

class PlainModel {
public:
    std::vector<PlainItem*> items;
    PlainItem* selected = nullptr;
    std::vector<std::string> requests;

    void Add(PlainItem* item) {
        if (item != nullptr) {
            items.push_back(item);
            Request(2005, item->Record());
        }
    }

    void AddNew(const std::vector<PlainItem*>& added) {
        std::string payload;
        for (PlainItem* const item : added) {
            if (item != nullptr) {
                if (IndexOf(item->id) == items.size()) {
                    items.push_back(item);
                }
                payload += item->Record();
            }
        }
        Request(2004, payload);
    }

    void Remove(const PlainItem* item) {
        const std::size_t at = item == nullptr ? items.size() : IndexOf(item->id);
        if (at < items.size()) {
            if (selected == items[at]) {
                selected = nullptr;
            }
            items.erase(items.begin() + static_cast<std::ptrdiff_t>(at));
            Request(2007, item->Record());
        }
    }

    void Modify(const PlainItem* oldItem, PlainItem* newItem) {
        const std::size_t at =
            oldItem == nullptr || newItem == nullptr ? items.size() : IndexOf(oldItem->id);
        if (at < items.size()) {
            if (selected == items[at]) {
                selected = newItem;
            }
            items[at] = newItem;
            Request(2008, oldItem->Record() + newItem->Record());
        }
    }

    void Clear() {
        items.clear();
        selected = nullptr;
        requests.push_back(Framed(2003, ""));
    }

    void Select(PlainItem* item) {
        if (item != nullptr && !item->id.empty()) {
            selected = item;
            Request(2000, item->Record());
        }
    }

    void Click(const PlainItem* item) {
        if (item != nullptr) {
            Request(2006, item->Record());
        }
    }

    void SelectionEvent(const std::string& answer) {
        requests.push_back(Framed(2001, ""));
        const auto records = PlainRecords(answer);
        const std::size_t at = records.empty() ? items.size() : IndexOf(records.front().second);
        selected = at < items.size() ? items[at] : nullptr;
    }

    void CreatedEvent() {
        if (items.empty()) {
            return;
        }
        std::string payload;
        for (const PlainItem* const item : items) {
            payload += item->Record();
        }
        Request(2004, payload);
        if (selected != nullptr && !selected->id.empty()) {
            Request(2000, selected->Record());
        }
    }

private:
    std::size_t IndexOf(const std::string& id) const {
        std::size_t at = 0;
        while (at < items.size() && items[at]->id != id) {
            ++at;
        }
        return at;
    }

    static std::string Framed(int id, const std::string& payload) {
        return payload + static_cast<char>(id & 0xff) + static_cast<char>(id >> 8) +
               std::string(2, '\0');
    }

    void Request(int id, const std::string& payload) {
        if (!payload.empty()) {
            requests.push_back(Framed(id, payload));
        }
    }
};

} // namespace applist_fuzz

#endif
