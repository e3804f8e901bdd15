#include "PlainList.h"

std::string PlainList::SetSelection(PlainItem* item) {
    if (item == nullptr || item->record.id.empty()) {
        return {};
    }
    selection = item;
    return Records::Frame(item->Bytes(), Records::SET_SELECTION);
}

std::string PlainList::SetClicked(PlainItem* item) const {
    return item == nullptr ? "" : Records::Frame(item->Bytes(), Records::SET_CLICKED);
}

std::string PlainList::RemoveAllItems() {
    items.clear();
    selection = nullptr;
    return Records::Frame("", Records::REMOVE_ALL_ITEMS);
}

std::string PlainList::AddItems(const Items& added) {
    std::string payload;
    for (PlainItem* const item : added) {
        if (item == nullptr) {
            continue;
        }
        payload += item->Bytes();
        if (Find(item->record.id) == items.size()) {
            items.push_back(item);
        }
    }
    return payload.empty() ? "" : Records::Frame(payload, Records::ADD_ITEMS);
}

std::string PlainList::AddItemAtEnd(PlainItem* item) {
    if (item == nullptr) {
        return {};
    }
    items.push_back(item);
    return Records::Frame(item->Bytes(), Records::ADD_ITEM_AT_END);
}

std::string PlainList::RemoveItem(PlainItem* item) {
    const std::size_t place = item == nullptr ? items.size() : Find(item->record.id);
    if (place == items.size()) {
        return {};
    }
    if (selection == items[place]) {
        selection = nullptr;
    }
    items.erase(items.begin() + static_cast<std::ptrdiff_t>(place));
    return Records::Frame(item->Bytes(), Records::REMOVE_ITEM);
}

std::string PlainList::ModifyItem(PlainItem* before, PlainItem* after) {
    const bool isComplete = before != nullptr && after != nullptr;
    const std::size_t place = isComplete ? Find(before->record.id) : items.size();
    if (place == items.size()) {
        return {};
    }
    if (selection == items[place]) {
        selection = after;
    }
    items[place] = after;
    return Records::Frame(before->Bytes() + after->Bytes(), Records::MODIFY_ITEM);
}

void PlainList::MoveSelection(const std::string& reply) {
    selection = nullptr;
    const std::vector<Records::Record> records = Records::Read(reply);
    if (!records.empty()) {
        const std::size_t place = Find(records[0].id);
        selection = place < items.size() ? items[place] : nullptr;
    }
}

// A line feed in a name or an id moves the fields behind it, and the last ones may be lost.
std::string PlainList::PartnersList() const {
    std::string readBack;
    for (const Records::Record& record : Records::Read(Stream())) {
        readBack += Records::Write(record);
    }
    return readBack;
}

std::string PlainList::PartnersSelection() const {
    const bool isPushed = !items.empty() && selection != nullptr && !selection->record.id.empty();
    return isPushed ? selection->Bytes() : "";
}

std::vector<std::string> PlainList::Push() const {
    std::vector<std::string> requests;
    if (!items.empty()) {
        requests.push_back(Records::Frame(Stream(), Records::ADD_ITEMS));
    }
    if (!PartnersSelection().empty()) {
        requests.push_back(Records::Frame(PartnersSelection(), Records::SET_SELECTION));
    }
    return requests;
}

bool PlainList::Holds(const PlainItem* item) const {
    for (const PlainItem* const held : items) {
        if (held == item) {
            return true;
        }
    }
    return selection == item;
}

std::size_t PlainList::Find(const std::string& id) const {
    std::size_t place = 0;
    while (place < items.size() && items[place]->record.id != id) {
        ++place;
    }
    return place;
}

std::string PlainList::Stream() const {
    std::string stream;
    for (const PlainItem* const item : items) {
        stream += item->Bytes();
    }
    return stream;
}
