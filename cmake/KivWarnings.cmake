# Warning flags of every target, as an interface target. Warnings are errors, in the product and in the tests.
add_library(kiv_warnings INTERFACE)
if(MSVC)
    target_compile_options(kiv_warnings INTERFACE /W4 /WX /utf-8)
else()
    target_compile_options(kiv_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # GCC 12 takes "text" + std::string for overlapping copies when it optimizes; no other warning depends on it.
        target_compile_options(kiv_warnings INTERFACE -Wno-restrict)
    endif()
endif()

# For tests, benchmark and fuzz targets. What prepares a check may fail silently: the check itself then fails.
add_library(kiv_test_warnings INTERFACE)
target_link_libraries(kiv_test_warnings INTERFACE kiv_warnings)
if(NOT MSVC)
    target_compile_options(kiv_test_warnings INTERFACE -Wno-unused-result)
endif()

if(WIN32)
    # Wide Win32 calls are named with their W; the ANSI ones with their A. The two macros keep <windows.h> small.
    target_compile_definitions(kiv_warnings INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
    if(MINGW)
        # The C library's own printf lacks %lld and %zu in some runtimes; this one has them everywhere.
        target_compile_definitions(kiv_warnings INTERFACE __USE_MINGW_ANSI_STDIO=1)
        # The programs run on machines that have none of the compiler's DLLs.
        target_link_options(kiv_warnings INTERFACE -static)
    endif()
endif()

set(KIV_SANITIZE "" CACHE STRING "Sanitizers of a native build, as -fsanitize= takes them")
if(KIV_SANITIZE)
    target_compile_options(kiv_warnings INTERFACE -fsanitize=${KIV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(kiv_warnings INTERFACE -fsanitize=${KIV_SANITIZE})
endif()

if(KIV_FUZZ)
    # The fuzzer watches which paths of the product an input takes.
    target_compile_options(kiv_warnings INTERFACE -fsanitize=fuzzer-no-link)
endif()
