// The known failures of a partner, as the keys of rows in a file.
#ifndef APPLIST_TOOLS_BASELINE_H
#define APPLIST_TOOLS_BASELINE_H

#include <set>
#include <string>

namespace applistctl {

class Baseline {
public:
    /** One key in each line; "#" starts a comment. @return the problem, or an empty text */
    std::string Read(const std::string& file);

    bool Has(int index) const { return m_rows.count(index) != 0; }

private:
    std::set<int> m_rows;
};

} // namespace applistctl

#endif
