# The ZIP archive and the installer, which contain the same files (CPack; the installer needs makensis), and the archive
# of the SDK, which has a CPack configuration of its own. scripts/package.sh makes all three.
configure_file(packaging/windows/README.txt README.txt @ONLY NEWLINE_STYLE WIN32)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/README.txt CHANGELOG.md DESTINATION . COMPONENT programs)
install(FILES docs/operations.md docs/wire-protocol.md docs/protocol.json DESTINATION docs COMPONENT programs)

set(CPACK_GENERATOR ZIP NSIS)
set(CPACK_PACKAGE_NAME KivProtocolManager)
set(CPACK_PACKAGE_VENDOR KivProtocolManager)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Runs the industrial-protocol instances of a machine")
set(CPACK_PACKAGE_FILE_NAME KivProtocolManager-${PROJECT_VERSION}-win64)
set(CPACK_PACKAGE_INSTALL_DIRECTORY KivProtocolManager)
set(CPACK_PACKAGE_INSTALL_REGISTRY_KEY KivProtocolManager)
set(CPACK_MONOLITHIC_INSTALL ON)
set(CPACK_INSTALL_CMAKE_PROJECTS ${CMAKE_BINARY_DIR} KivProtocolManager programs /)
set(CPACK_STRIP_FILES ON)

# A 64-bit installer, because the programs need a 64-bit system. KivBefore is the state of the service before the
# installation: the exit code of `kivctl service status`.
set(CPACK_NSIS_DEFINES "Target amd64-unicode\nVar KivBefore")
set(CPACK_NSIS_DISPLAY_NAME "KivProtocolManager ${PROJECT_VERSION}")
set(CPACK_NSIS_PACKAGE_NAME KivProtocolManager)
# The programs have no icon.
set(CPACK_NSIS_INSTALLED_ICON_NAME Uninstall.exe)
# An upgrade in place: a running service is stopped first, so that its files are free, and is started again with the new
# programs. Jumps use labels and not relative counts, because a plug-in call is more than one instruction.
set(CPACK_NSIS_EXTRA_PREINSTALL_COMMANDS [[
    StrCpy $KivBefore ''
    IfFileExists '$INSTDIR\\kivctl.exe' 0 kiv_stopped
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service status'
    Pop $KivBefore
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service stop'
    Pop $0
    StrCmp $0 0 kiv_stopped
    SetErrorLevel 2
    Abort
    kiv_stopped:
    ; A program that runs (kivctl watch, or a process that outlived its manager) can be renamed, but not replaced.
    Delete '$INSTDIR\\*.exe.old'
    Rename '$INSTDIR\\kivctl.exe' '$INSTDIR\\kivctl.exe.old'
    IfFileExists '$INSTDIR\\kivctl.exe' kiv_busy
    Rename '$INSTDIR\\KivProtocol.exe' '$INSTDIR\\KivProtocol.exe.old'
    IfFileExists '$INSTDIR\\KivProtocol.exe' kiv_busy
    Rename '$INSTDIR\\KivProtocolManager.exe' '$INSTDIR\\KivProtocolManager.exe.old'
    IfFileExists '$INSTDIR\\KivProtocolManager.exe' kiv_busy kiv_free
    kiv_busy:
    Rename '$INSTDIR\\KivProtocol.exe.old' '$INSTDIR\\KivProtocol.exe'
    Rename '$INSTDIR\\kivctl.exe.old' '$INSTDIR\\kivctl.exe'
    StrCmp $KivBefore 0 0 kiv_left
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service start'
    Pop $0
    kiv_left:
    SetErrorLevel 2
    Abort
    kiv_free:
]])
# A service that ran before is started again, even if the service manager refuses the new programs; a stopped one stays
# stopped. A service that ran from another folder is restarted. SHCTX is the registry root that the other values of the
# uninstall entry are in.
set(CPACK_NSIS_EXTRA_INSTALL_COMMANDS [[
    StrCpy $0 'Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\KivProtocolManager'
    WriteRegStr SHCTX $0 InstallLocation '$INSTDIR'
    WriteRegStr SHCTX $0 QuietUninstallString '\"$INSTDIR\\Uninstall.exe\" /S'
    Delete '$INSTDIR\\*.exe.old'
    IfFileExists '$INSTDIR\\sdk\\*.*' kiv_sdk
    MessageBox MB_YESNO|MB_DEFBUTTON2 'Install the SDK too, for authors of clients and protocols? It goes to the folder sdk.' /SD IDNO IDNO kiv_no_sdk
    kiv_sdk:
    SetOutPath '$INSTDIR\\sdk'
    File /r '@CMAKE_BINARY_DIR@/sdk-stage/*.*'
    SetOutPath '$INSTDIR'
    kiv_no_sdk:
    StrCmp $KivBefore '' 0 kiv_known
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service status'
    Pop $KivBefore
    kiv_known:
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service install'
    Pop $0
    StrCmp $0 0 kiv_installed
    SetErrorLevel 2
    StrCmp $KivBefore 0 kiv_start
    Abort
    kiv_installed:
    StrCmp $KivBefore 1 kiv_done
    kiv_start:
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service restart'
    Pop $0
    StrCmp $0 0 kiv_done
    SetErrorLevel 2
    kiv_done:
]])
# The user chooses whether to install the SDK; a silent installation does not install it. An SDK that is already there
# is always updated.
string(CONFIGURE "${CPACK_NSIS_EXTRA_INSTALL_COMMANDS}" CPACK_NSIS_EXTRA_INSTALL_COMMANDS @ONLY)
file(WRITE ${CMAKE_BINARY_DIR}/StageSdk.cmake "
execute_process(COMMAND \"${CMAKE_COMMAND}\" --install \"${CMAKE_BINARY_DIR}\" --component sdk
    --prefix \"${CMAKE_BINARY_DIR}/sdk-stage\" OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
")
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_BINARY_DIR}/StageSdk.cmake)
# The settings stay in the registry, so that a later installation finds its instances again.
set(CPACK_NSIS_EXTRA_UNINSTALL_COMMANDS [[
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service uninstall'
    Pop $0
    StrCmp $0 0 kiv_uninstalled
    SetErrorLevel 2
    Abort
    kiv_uninstalled:
    Delete '$INSTDIR\\*.exe.old'
    RMDir /r '$INSTDIR\\sdk'
]])
include(CPack)

file(WRITE ${CMAKE_BINARY_DIR}/CPackSdkConfig.cmake "
include(\"${CMAKE_BINARY_DIR}/CPackConfig.cmake\")
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME KivProtocolManager-${PROJECT_VERSION}-sdk)
set(CPACK_INSTALL_CMAKE_PROJECTS \"${CMAKE_BINARY_DIR};KivProtocolManager;sdk;/\")
")
