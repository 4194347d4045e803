# GoogleTest, and kiv_test(), which registers one test program with ctest.
include(GoogleTest)
find_package(Threads REQUIRED)

# Optimization would double the compile time of the tests, and they spend most of their run time waiting.
if(NOT MSVC)
    set(kiv_test_options -O0)
endif()

if(EXISTS /usr/src/googletest/CMakeLists.txt)
    # The source package is built with this tree's compiler, so it also works for the cross build.
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    foreach(library gtest gtest_main)
        target_compile_options(${library} PRIVATE ${kiv_test_options})
        if(KIV_SANITIZE)
            target_compile_options(${library} PRIVATE -fsanitize=${KIV_SANITIZE})
        endif()
    endforeach()
else()
    find_package(GTest REQUIRED)
endif()

# kiv_test(NAME SOURCES ... LIBRARIES ... [LABELS ...] [TIMEOUT seconds] [ARGUMENTS ...])
#
# Adds one test program, which is one ctest entry: starting a program takes longer than most of its cases. The default
# timeout is 300 s. The Windows programs share one Wine prefix with its registry and pipe names, so ctest never runs two
# of them at the same time.
function(kiv_test name)
    cmake_parse_arguments(test "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS;ARGUMENTS" ${ARGN})
    add_executable(${name} ${test_SOURCES})
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${test_LIBRARIES} kiv_test_warnings GTest::gtest_main)
    target_compile_options(${name} PRIVATE ${kiv_test_options})
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
    add_test(NAME ${name} COMMAND ${name} ${test_ARGUMENTS})
    if(NOT test_TIMEOUT)
        set(test_TIMEOUT 300)
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${test_TIMEOUT} LABELS "${test_LABELS}")
    if(WIN32)
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK windows_machine)
    endif()
endfunction()
