// The text of the policy file, as a build with certain settings makes it.
#pragma once

#include <string>
#include <vector>

namespace Policy {

/** @param settings as for CMake: "APPLIST_BUS_HOST_USER=launcher". @return "" if it refuses them */
std::string Make(const std::vector<std::string>& settings);

/** Its rules, <allow .../> and <deny .../>, each with the one space between its attributes. */
std::vector<std::string> Rules(const std::string& policy);

/** The text without its rule number @p index. */
std::string Without(const std::string& policy, std::size_t index);

} // namespace Policy
