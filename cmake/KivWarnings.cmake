# kiv_warnings: the warning flags of every target. Warnings are errors, in the product and in the tests.
add_library(kiv_warnings INTERFACE)
if(MSVC)
    target_compile_options(kiv_warnings INTERFACE /W4 /WX /utf-8)
else()
    target_compile_options(kiv_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # When it optimizes, GCC 12 wrongly reports "text" + std::string as overlapping copies.
        target_compile_options(kiv_warnings INTERFACE -Wno-restrict)
    endif()
endif()

# kiv_test_warnings: for tests, benchmark and fuzz targets. They may ignore the result of a call that prepares a check,
# because the check itself then fails.
add_library(kiv_test_warnings INTERFACE)
target_link_libraries(kiv_test_warnings INTERFACE kiv_warnings)
if(NOT MSVC)
    target_compile_options(kiv_test_warnings INTERFACE -Wno-unused-result)
endif()

if(WIN32)
    # A smaller <windows.h>, without its min and max macros, for Windows 10. UNICODE is not set: the code calls Win32
    # functions by their full names, which end in W or A.
    target_compile_definitions(kiv_warnings INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
    if(MINGW)
        # The printf of some C runtimes lacks %lld and %zu; MinGW's own has them.
        target_compile_definitions(kiv_warnings INTERFACE __USE_MINGW_ANSI_STDIO=1)
        # The machines that run the programs do not have the compiler's DLLs.
        target_link_options(kiv_warnings INTERFACE -static)
    endif()
endif()

set(KIV_SANITIZE "" CACHE STRING "Sanitizers of a native build, as -fsanitize= takes them")
if(KIV_SANITIZE)
    target_compile_options(kiv_warnings INTERFACE -fsanitize=${KIV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(kiv_warnings INTERFACE -fsanitize=${KIV_SANITIZE})
endif()
