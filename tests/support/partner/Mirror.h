// The partner's copy of the host's list, built from the requests of the host alone.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Records.h"

inline namespace applist_test {

class Mirror {
public:
    /** Clears the list. The next request fills the list, also with equal ids. */
    void Recreate();

    /** Applies a request: payload and id. @return the reply */
    std::string Take(const std::string& message);

    /** Sets the bytes of later replies to the selection query. */
    void Answer(const std::string& selection) { m_selection = selection; }

    /** Selects the item at @p index, which wraps; one position stands for no selection. */
    void Choose(std::size_t index);

    /** The records of the list, in list order. */
    std::string Stream() const;

    /** The bytes of the selection's record. */
    const std::string& Selection() const { return m_selection; }

private:
    void Add(const std::vector<Records::Record>& records);
    std::vector<Records::Record>::iterator Find(const std::string& id);
    void Remove(const Records::Record& record);
    void Modify(const Records::Record& before, const Records::Record& after);
    bool IsSelected(const Records::Record& record) const;

    std::vector<Records::Record> m_list;
    std::string m_selection;
    bool m_isNew = true;
};

} // namespace applist_test
