# The ZIP archive and the installer (CPack; the installer needs makensis). scripts/package.sh makes both.
install(FILES README.md CHANGELOG.md DESTINATION . COMPONENT programs)
install(FILES docs/operations.md docs/wire-protocol.md docs/protocol.json DESTINATION docs COMPONENT programs)
install(FILES packaging/windows/install.ps1 packaging/windows/uninstall.ps1 DESTINATION . COMPONENT programs)

set(CPACK_GENERATOR ZIP NSIS)
set(CPACK_PACKAGE_NAME KivProtocolManager)
set(CPACK_PACKAGE_VENDOR KivProtocolManager)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Runs the industrial-protocol instances of a machine")
set(CPACK_PACKAGE_FILE_NAME KivProtocolManager-${PROJECT_VERSION}-win64)
set(CPACK_PACKAGE_INSTALL_DIRECTORY KivProtocolManager)
set(CPACK_MONOLITHIC_INSTALL ON)
set(CPACK_STRIP_FILES ON)

# A 64-bit installer for the 64-bit system that its programs need.
set(CPACK_NSIS_DEFINES "Target amd64-unicode")
set(CPACK_NSIS_DISPLAY_NAME "KivProtocolManager ${PROJECT_VERSION}")
set(CPACK_NSIS_PACKAGE_NAME KivProtocolManager)
# An upgrade in place: what runs lets go of its files first, and is started again with the new ones. Labels instead of
# relative jumps, because a call of a plug-in is more than one instruction.
set(CPACK_NSIS_EXTRA_PREINSTALL_COMMANDS [[
    IfFileExists '$INSTDIR\\kivctl.exe' 0 kiv_stopped
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
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service start'
    Pop $0
    SetErrorLevel 2
    Abort
    kiv_free:
]])
set(CPACK_NSIS_EXTRA_INSTALL_COMMANDS [[
    Delete '$INSTDIR\\*.exe.old'
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service install'
    Pop $0
    StrCmp $0 0 kiv_installed
    SetErrorLevel 2
    kiv_installed:
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service start'
    Pop $0
]])
# The settings stay in the registry: an uninstalled service that comes back finds its instances again.
set(CPACK_NSIS_EXTRA_UNINSTALL_COMMANDS [[
    nsExec::ExecToLog '\"$INSTDIR\\kivctl.exe\" service uninstall'
    Pop $0
    StrCmp $0 0 kiv_uninstalled
    SetErrorLevel 2
    Abort
    kiv_uninstalled:
    Delete '$INSTDIR\\*.exe.old'
]])
include(CPack)
