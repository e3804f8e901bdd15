// The base of a table's rows: the name of a row is the name of its test and its printed form.
#pragma once

#include <ostream>
#include <string>

#include <gtest/gtest.h>

inline namespace applist_test {

struct NamedRow {
    const char* caseName;
};

inline std::ostream& operator<<(std::ostream& os, const NamedRow& row) {
    return os << row.caseName;
}

template <class Row>
std::string RowName(const testing::TestParamInfo<Row>& row) {
    return row.param.caseName;
}

} // namespace applist_test
