// A capture of host and partner of version 1.0.0: the monitor still reads it, and reports the same.
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "ToolProcess.h"

namespace {

using nlohmann::json;

std::string GoldenText(const std::string& name) {
    std::ifstream file(APPLIST_TESTS_GOLDEN + ("/" + name));
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The report with times in UTC. The monitor prints local times.
std::string ReportOfTheCapture(const std::string& option) {
    ToolProcess monitor(
        {"monitor", option, "--read", std::string(APPLIST_TESTS_GOLDEN) + "/capture.pcap"},
        {"TZ=UTC0"});
    EXPECT_EQ(monitor.WaitForExit(), 0) << monitor.Errors();
    return monitor.Output();
}

std::vector<json> Objects(const std::string& text) {
    std::vector<json> objects;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        objects.push_back(json::parse(line));
    }
    return objects;
}

/**
 * Each field of @p expected exists in @p found with an equal value; @p found may have others. The
 * field "text" is for people, and may change.
 */
void ExpectFields(const json& found, const json& expected) {
    if (!expected.is_object()) {
        EXPECT_EQ(found, expected);
        return;
    }
    for (const auto& [name, value] : expected.items()) {
        ASSERT_TRUE(found.is_object() && found.contains(name)) << name << " in " << found;
        if (name != "text") {
            ExpectFields(found.at(name), value);
        }
    }
}

TEST(GoldenCapture, IsReportedAsText) {
    const std::string report = ReportOfTheCapture("--all");
    // The first line has the path of the capture.
    EXPECT_EQ(report.substr(report.find('\n') + 1), GoldenText("capture.txt"));
}

TEST(GoldenCapture, IsReportedWithTheFieldsOfTheFirstVersionInJson) {
    const std::vector<json> found = Objects(ReportOfTheCapture("--json"));
    const std::vector<json> expected = Objects(GoldenText("capture.json"));
    ASSERT_EQ(found.size(), expected.size());
    // The first line has the path of the capture.
    EXPECT_EQ(found[0].at("event"), expected[0].at("event"));
    for (std::size_t i = 1; i < expected.size(); ++i) {
        ExpectFields(found[i], expected[i]);
    }
}

} // namespace
