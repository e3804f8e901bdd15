// The rows of a run: a list of names with commas between them, where a name also chooses the
// rows that go on from it with a dash ("sendmessage" chooses "sendmessage-1m" too); empty for all.
#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

inline namespace applist_bench {

class Selection {
public:
    explicit Selection(const std::string& list) {
        std::istringstream stream(list);
        std::string name;
        while (std::getline(stream, name, ',')) {
            m_names.push_back(name);
        }
    }

    bool Has(const std::string& row) const {
        return m_names.empty() ||
               std::any_of(m_names.begin(), m_names.end(), [&](const std::string& name) {
                   return row == name || row.compare(0, name.size() + 1, name + "-") == 0;
               });
    }

    /** Whether any row of @p groups, each of which stands for the rows that go on from it too. */
    bool HasAny(const std::vector<std::string>& groups) const {
        return std::any_of(groups.begin(), groups.end(), [this](const std::string& group) {
            return Has(group) ||
                   std::any_of(m_names.begin(), m_names.end(), [&](const std::string& name) {
                       return name.compare(0, group.size() + 1, group + "-") == 0;
                   });
        });
    }

private:
    std::vector<std::string> m_names;
};

} // namespace applist_bench
