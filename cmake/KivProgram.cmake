# kiv_program(NAME DESCRIPTION text SOURCES ... NEEDS ...)
#
# One executable of the product: with the project's version in its version resource, and part of the installation.
function(kiv_program name)
    cmake_parse_arguments(program "" "DESCRIPTION" "SOURCES;NEEDS" ${ARGN})
    add_executable(${name} ${program_SOURCES})
    target_link_libraries(${name} PRIVATE ${program_NEEDS} kiv_warnings)
    target_compile_definitions(${name} PRIVATE KIV_VERSION="${PROJECT_VERSION}")
    set(KIV_PROGRAM_NAME ${name})
    set(KIV_PROGRAM_DESCRIPTION ${program_DESCRIPTION})
    configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${name}.rc @ONLY)
    target_sources(${name} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${name}.rc)
    install(TARGETS ${name} RUNTIME DESTINATION . COMPONENT programs)
endfunction()
