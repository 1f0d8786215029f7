# SPDX-License-Identifier: GPL-3.0-or-later
add_executable(agent_hooks_tests "${CMAKE_CURRENT_LIST_DIR}/hooks_test.cpp")
target_compile_definitions(agent_hooks_tests PRIVATE
    SERVICE_PROGRAM="$<TARGET_FILE:ZELhooks>")
target_link_libraries(agent_hooks_tests PRIVATE zelstore GTest::gtest_main)
add_dependencies(agent_hooks_tests ZELhooks)
gtest_discover_tests(agent_hooks_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
