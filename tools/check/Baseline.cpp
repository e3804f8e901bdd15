#include <check/Baseline.h>

#include <sstream>
#include <vector>

#include <check/Duties.h>
#include <shared/Lines.h>

namespace applistctl {

std::string Baseline::Read(const std::string& file) {
    std::vector<std::string> lines;
    if (std::string unread = ReadLines(file, lines); !unread.empty()) {
        return unread;
    }
    int number = 0;
    for (const std::string& line : lines) {
        ++number;
        std::istringstream words(line.substr(0, line.find('#')));
        for (std::string key; words >> key;) {
            const int row = Duties::Find(key);
            if (row < 0) {
                std::string problem = file;
                problem.append(":").append(std::to_string(number));
                return problem.append(": no duty \"").append(key).append("\"");
            }
            m_rows.insert(row);
        }
    }
    return "";
}

} // namespace applistctl
