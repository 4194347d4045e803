# kiv_headers: CLI11 and nlohmann/json, for the programs beside the service (the service itself has no dependencies).
#
# Both are header-only, so a cross build may use the ones that are installed on the build machine. It must not see the
# other headers in that folder, which belong to another system: so these two are copied.
add_library(kiv_headers INTERFACE)
if(CMAKE_CROSSCOMPILING)
    foreach(headers CLI nlohmann)
        if(NOT EXISTS /usr/include/${headers})
            message(FATAL_ERROR "/usr/include/${headers} is missing: run scripts/setup.sh")
        endif()
        file(COPY /usr/include/${headers} DESTINATION ${CMAKE_BINARY_DIR}/headers)
    endforeach()
    target_include_directories(kiv_headers SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/headers)
else()
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
    target_link_libraries(kiv_headers INTERFACE CLI11::CLI11 nlohmann_json::nlohmann_json)
endif()
