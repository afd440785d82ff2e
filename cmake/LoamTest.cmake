# loam_add_test(NAME <target> SOURCES <files...> [LIBS <targets...>] [LABELS <labels...>] [TIMEOUT <seconds>])
#
# One executable of GoogleTest cases, each of them known to ctest by its own name.
include(GoogleTest)

function(loam_add_test)
    cmake_parse_arguments(ARG "" "NAME;TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${ARG_NAME} ${ARG_SOURCES})
    target_link_libraries(${ARG_NAME} PRIVATE ${ARG_LIBS} GTest::gmock GTest::gtest GTest::gtest_main
                                              loam_build_flags)
    target_include_directories(${ARG_NAME} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    gtest_discover_tests(
        ${ARG_NAME}
        NO_PRETTY_VALUES # a parameter is named by its test, and not by its bytes, which hold addresses
        DISCOVERY_MODE PRE_TEST
        PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()
