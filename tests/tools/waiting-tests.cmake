# CTest reads this file after the tests of check_partner_test. Each of them waits for most of its time, so that
# three at once leave the processors to other tests. They start first.
set(lock 0)
foreach(test IN LISTS check_partner_test_TESTS)
    math(EXPR lock "(${lock} + 1) % 3")
    set_tests_properties(${test} PROPERTIES RESOURCE_LOCK check_partner_${lock} COST 10)
endforeach()
