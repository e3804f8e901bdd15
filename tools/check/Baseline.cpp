#include <check/Baseline.h>

#include <fstream>
#include <sstream>

#include <check/Duties.h>

namespace applistctl {

std::string Baseline::Read(const std::string& file) {
    std::ifstream stream(file);
    if (!stream) {
        return "cannot read " + file;
    }
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        std::istringstream words(line.substr(0, line.find('#')));
        for (std::string key; words >> key;) {
            const int row = Duties::Find(key);
            if (row < 0) {
                return file + ":" + std::to_string(number) + ": no duty \"" + key + "\"";
            }
            m_rows.insert(row);
        }
    }
    return "";
}

} // namespace applistctl
