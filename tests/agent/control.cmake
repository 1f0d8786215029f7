# SPDX-License-Identifier: GPL-3.0-or-later
add_executable(agent_control_tests "${CMAKE_CURRENT_LIST_DIR}/control_test.cpp")
target_link_libraries(agent_control_tests PRIVATE zelaccess zelclient zelstore zeltrace GTest::gtest_main)
gtest_discover_tests(agent_control_tests DISCOVERY_TIMEOUT 60)
