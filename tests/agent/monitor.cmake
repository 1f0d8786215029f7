# SPDX-License-Identifier: GPL-3.0-or-later
add_executable(agent_monitor_tests "${CMAKE_CURRENT_LIST_DIR}/filesystem_test.cpp"
               "${CMAKE_CURRENT_LIST_DIR}/monitor_test.cpp")
target_compile_definitions(agent_monitor_tests PRIVATE SERVICE_PROGRAM="$<TARGET_FILE:ZELntserver>")
target_link_libraries(agent_monitor_tests PRIVATE zelaccess zelsettings zelsystem GTest::gtest_main)
add_dependencies(agent_monitor_tests ZELntserver)
gtest_discover_tests(agent_monitor_tests DISCOVERY_TIMEOUT 60)
