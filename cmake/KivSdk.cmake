# The component "sdk", with which others build their programs: kivapi for any language and, as one static library, the
# rooms that a protocol in C++ needs. find_package(KivProtocolManager) defines Kiv::api and Kiv::protocol.
include(CMakePackageConfigHelpers)

set(rooms kiv_platform kiv_sync kiv_registry kiv_logging kiv_class kiv_ipc kiv_vexadb kiv_control_messages
    kiv_protocol_child)
add_library(kiv_protocol STATIC)
foreach(room ${rooms})
    target_sources(kiv_protocol PRIVATE $<TARGET_OBJECTS:${room}>)
endforeach()
set_target_properties(kiv_protocol PROPERTIES LINKER_LANGUAGE CXX EXPORT_NAME protocol)
set_target_properties(kivapi PROPERTIES EXPORT_NAME api)
target_compile_features(kiv_protocol INTERFACE cxx_std_20)
target_include_directories(kiv_protocol INTERFACE $<INSTALL_INTERFACE:include/kiv>)
target_link_libraries(kiv_protocol INTERFACE synchronization)

set(package lib/cmake/KivProtocolManager)
install(TARGETS kivapi kiv_protocol EXPORT KivProtocolManagerConfig
    RUNTIME DESTINATION bin COMPONENT sdk ARCHIVE DESTINATION lib COMPONENT sdk)
install(EXPORT KivProtocolManagerConfig NAMESPACE Kiv:: DESTINATION ${package} COMPONENT sdk)
# Before 1.0.0, an incompatible change raises the second number.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KivProtocolManagerConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KivProtocolManagerConfigVersion.cmake DESTINATION ${package} COMPONENT sdk)

set(base ${CMAKE_SOURCE_DIR}/utilities/com)
install(FILES ${base}/protocols/kivapi/kivapi.h DESTINATION include COMPONENT sdk)
install(FILES ${base}/protocols/kivapi/kivapi.def DESTINATION lib COMPONENT sdk)
file(GLOB_RECURSE headers RELATIVE ${base} CONFIGURE_DEPENDS ${base}/utils/*.h ${base}/IPC/*.h
    ${base}/protocols/control/*.h ${base}/protocols/KivProtocol/*.h)
list(FILTER headers EXCLUDE REGEX /impl/)
foreach(header ${headers})
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${base}/${header} DESTINATION include/kiv/${folder} COMPONENT sdk)
endforeach()
install(DIRECTORY ${CMAKE_SOURCE_DIR}/examples DESTINATION . COMPONENT sdk)
install(FILES ${CMAKE_SOURCE_DIR}/CHANGELOG.md DESTINATION . COMPONENT sdk)
install(FILES ${CMAKE_SOURCE_DIR}/docs/wire-protocol.md ${CMAKE_SOURCE_DIR}/docs/protocol.json DESTINATION docs
    COMPONENT sdk)
