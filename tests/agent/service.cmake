# SPDX-License-Identifier: GPL-3.0-or-later
add_executable(agent_service_tests
    "${CMAKE_CURRENT_LIST_DIR}/access_test.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/smbios_test.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_test.cpp")
target_compile_definitions(agent_service_tests PRIVATE
    SERVICE_PROGRAM="$<TARGET_FILE:ZELntserver>")
target_link_libraries(agent_service_tests PRIVATE zelaccess zelclient zelsystem zelcompat
                      zelstore GTest::gtest_main ${CMAKE_DL_LIBS})
add_dependencies(agent_service_tests dissensor zelsmbios ZELntserver)
gtest_discover_tests(agent_service_tests DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120 LABELS threads)
