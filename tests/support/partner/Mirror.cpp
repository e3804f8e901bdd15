#include "Mirror.h"

#include <algorithm>

void Mirror::Recreate() {
    m_list.clear();
    m_selection.clear();
    m_isNew = true;
}

std::string Mirror::Take(const std::string& message) {
    if (message.size() < 4) {
        return {};
    }
    const std::string payload = message.substr(0, message.size() - 4);
    const std::vector<Records::Record> records = Records::Read(payload);
    switch (static_cast<Records::Request>(Records::IdOf(message))) {
    case Records::GET_SELECTION:
        return m_selection;
    case Records::SET_SELECTION:
        m_selection = payload;
        break;
    case Records::REMOVE_ALL_ITEMS:
        m_list.clear();
        m_selection.clear();
        break;
    case Records::ADD_ITEMS:
        Add(records);
        break;
    case Records::ADD_ITEM_AT_END:
        m_list.insert(m_list.end(), records.begin(), records.end());
        m_isNew = false;
        break;
    case Records::REMOVE_ITEM:
        if (!records.empty()) {
            Remove(records[0]);
        }
        break;
    case Records::MODIFY_ITEM:
        if (records.size() >= 2) {
            Modify(records[0], records[1]);
        }
        break;
    case Records::SET_CLICKED:
        break;
    }
    return {};
}

void Mirror::Choose(std::size_t index) {
    const std::size_t place = index % (m_list.size() + 1);
    m_selection = place < m_list.size() ? Records::Write(m_list[place]) : "";
}

std::string Mirror::Stream() const {
    std::string stream;
    for (const Records::Record& record : m_list) {
        stream += Records::Write(record);
    }
    return stream;
}

void Mirror::Add(const std::vector<Records::Record>& records) {
    for (const Records::Record& record : records) {
        if (m_isNew || Find(record.id) == m_list.end()) {
            m_list.push_back(record);
        }
    }
    m_isNew = false;
}

std::vector<Records::Record>::iterator Mirror::Find(const std::string& id) {
    return std::find_if(m_list.begin(), m_list.end(),
                        [&](const Records::Record& record) { return record.id == id; });
}

void Mirror::Remove(const Records::Record& record) {
    const auto found = Find(record.id);
    if (found != m_list.end()) {
        if (IsSelected(*found)) {
            m_selection.clear();
        }
        m_list.erase(found);
    }
}

void Mirror::Modify(const Records::Record& before, const Records::Record& after) {
    const auto found = Find(before.id);
    if (found != m_list.end()) {
        if (IsSelected(*found)) {
            m_selection = Records::Write(after);
        }
        *found = after;
    }
}

bool Mirror::IsSelected(const Records::Record& record) const {
    const std::vector<Records::Record> selection = Records::Read(m_selection);
    return !selection.empty() && selection.front().id == record.id;
}
