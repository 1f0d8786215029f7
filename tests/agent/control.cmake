# SPDX-License-Identifier: GPL-3.0-or-later
add_executable(agent_control_tests "${CMAKE_CURRENT_LIST_DIR}/control_test.cpp")
target_link_libraries(agent_control_tests PRIVATE zelaccess zelserviceclient zelstore zeltrace GTest::gtest_main)
gtest_discover_tests(agent_control_tests DISCOVERY_TIMEOUT 60)

# The calls that ask the controller, with one made up by the test in the place of zel::bmc::Controller.
add_executable(agent_boot_options_tests
    "${CMAKE_CURRENT_LIST_DIR}/boot_options_test.cpp"
    "${PROJECT_SOURCE_DIR}/agent/access/boot_options.cpp"
    "${PROJECT_SOURCE_DIR}/agent/access/identify.cpp")
target_link_libraries(agent_boot_options_tests PRIVATE zelcontract zelpaths zeltrace GTest::gtest_main)
gtest_discover_tests(agent_boot_options_tests DISCOVERY_TIMEOUT 60)
