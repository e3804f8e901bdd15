#include "ResultFile.h"

#include <cstdio>
#include <cstdlib>

namespace {

std::string Format(double value) {
    char text[40];
    std::snprintf(text, sizeof(text), "%.9g", value);
    return text;
}

} // namespace

void Result::Key(const std::string& key) {
    m_members += (m_members.empty() ? "\"" : ", \"") + key + "\": ";
}

Result& Result::Text(const std::string& key, const std::string& value) {
    Key(key);
    m_members += "\"" + value + "\"";
    return *this;
}

Result& Result::Number(const std::string& key, double value) {
    Key(key);
    m_members += Format(value);
    return *this;
}

Result& Result::Spread(const std::string& key, const Stats::Spread& spread) {
    Key(key);
    m_members += "{\"median\": " + Format(spread.median) + ", \"q1\": " + Format(spread.q1) +
                 ", \"q3\": " + Format(spread.q3) + ", \"low95\": " + Format(spread.low95) +
                 ", \"high95\": " + Format(spread.high95) +
                 ", \"count\": " + std::to_string(spread.count) + "}";
    return *this;
}

void Result::Write(const std::string& path) const {
    std::FILE* const file = std::fopen(path.c_str(), "a");
    if (file == nullptr || std::fprintf(file, "{%s}\n", m_members.c_str()) < 0 ||
        std::fclose(file) != 0) {
        std::perror(path.c_str());
        std::exit(1);
    }
}
