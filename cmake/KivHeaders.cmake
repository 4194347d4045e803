# kiv_headers: CLI11 and nlohmann/json, for the programs beside the service (the service itself depends on nothing).
#
# They are headers only, so a cross build may take those installed for the building machine; but none of the other
# headers beside them, which are another system's. Hence the copies.
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
