# SPDX-License-Identifier: GPL-3.0-or-later
add_executable(agent_foundation_tests
    "${CMAKE_CURRENT_LIST_DIR}/store_test.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/registry_test.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/events_test.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/trace_test.cpp")
target_link_libraries(agent_foundation_tests PRIVATE zelstore zelcompat zeltrace GTest::gtest_main)
gtest_discover_tests(agent_foundation_tests DISCOVERY_TIMEOUT 60 PROPERTIES LABELS threads)
