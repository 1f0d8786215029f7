# SPDX-License-Identifier: GPL-3.0-or-later
# zel_few_pieces(TARGET [ALONE FILE ...] [OWN NAME ...]): where ZEL_SHARE_HEADERS says so, several files of a target are
# compiled at a time: what all of them read is read, and made of templates, once. ALONE are files that tests have others
# of, or whose functions meet another file's; OWN are names that more than one file has for something of its own, besides
# kModule: each file's gets a number.
function(zel_few_pieces target)
    if(NOT ZEL_SHARE_HEADERS)
        return()
    endif()
    cmake_parse_arguments(PARSE_ARGV 1 given "" "" "ALONE;OWN")
    get_target_property(folder ${target} SOURCE_DIR)
    list(TRANSFORM given_ALONE PREPEND "${folder}/")
    set_source_files_properties(${given_ALONE} TARGET_DIRECTORY ${target} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    set(text "#pragma once\n#define ZEL_JOIN(name, file) name##_##file\n#define ZEL_NUMBERED(name, file) ZEL_JOIN(name, file)\n")
    foreach(name kModule ${given_OWN})
        string(APPEND text "#define ${name} ZEL_NUMBERED(${name}, ZEL_FILE)\n")
    endforeach()
    set(header "${CMAKE_BINARY_DIR}/own_names/${target}.h")
    file(CONFIGURE OUTPUT "${header}" CONTENT "${text}" @ONLY)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 9 UNITY_BUILD_UNIQUE_ID ZEL_FILE
                          UNITY_BUILD_CODE_BEFORE_INCLUDE "#include \"${header}\"")
endfunction()
