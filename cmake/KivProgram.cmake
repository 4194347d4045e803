# kiv_version_resource(TARGET FILE_NAME FILE_TYPE DESCRIPTION)
#
# Puts the project's version into the file's version resource, and defines KIV_VERSION for its sources.
function(kiv_version_resource name file type description)
    set(KIV_PROGRAM_NAME ${name})
    set(KIV_FILE_NAME ${file})
    set(KIV_FILE_TYPE ${type})
    set(KIV_PROGRAM_DESCRIPTION ${description})
    configure_file(${CMAKE_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${name}.rc @ONLY)
    target_sources(${name} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${name}.rc)
    target_compile_definitions(${name} PRIVATE KIV_VERSION="${PROJECT_VERSION}")
endfunction()

# kiv_program(NAME DESCRIPTION text SOURCES ... NEEDS ...)
#
# Adds one executable of the product, with its version resource, to the build and to the installation.
function(kiv_program name)
    cmake_parse_arguments(program "" "DESCRIPTION" "SOURCES;NEEDS" ${ARGN})
    add_executable(${name} ${program_SOURCES})
    target_link_libraries(${name} PRIVATE ${program_NEEDS} kiv_warnings)
    kiv_version_resource(${name} ${name}.exe VFT_APP ${program_DESCRIPTION})
    install(TARGETS ${name} RUNTIME DESTINATION . COMPONENT programs)
endfunction()
