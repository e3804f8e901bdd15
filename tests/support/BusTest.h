// A test with a bus of its own.
#pragma once

#include <gtest/gtest.h>

#include "PrivateBus.h"

inline namespace applist_test {

class BusTest : public testing::Test {
protected:
    PrivateBus bus;
};

} // namespace applist_test
