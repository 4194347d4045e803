# kiv_room(NAME SOURCES ... WINDOWS ... HOST ... NEEDS ...)
#
# One room of the house: a static library with the sources that build everywhere, the platform's own ones behind its
# seams (WINDOWS: the product's; HOST: the doubles of tests/support for the native build), and the rooms below it.
function(kiv_room name)
    cmake_parse_arguments(room "" "" "SOURCES;WINDOWS;HOST;NEEDS" ${ARGN})
    add_library(${name} STATIC ${room_SOURCES})
    if(WIN32)
        target_sources(${name} PRIVATE ${room_WINDOWS})
    else()
        target_sources(${name} PRIVATE ${room_HOST})
        target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/tests)
    endif()
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/utilities/com)
    target_link_libraries(${name} PUBLIC kiv_warnings ${room_NEEDS})
    if(KIV_FUZZ)
        # The fuzzer records which paths through the product's code an input takes.
        target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
endfunction()
