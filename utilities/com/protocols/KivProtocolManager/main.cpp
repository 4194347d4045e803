// KivProtocolManager: the service that owns the machine's industrial-protocol instances.

#include <filesystem>
#include <memory>
#include <utility>

#include "protocols/KivProtocolManager/class/ProtocolManager.h"
#include "protocols/KivProtocolManager/class/ServiceHost.h"
#include "utils/logging/LogFile.h"
#include "utils/logging/LogSettings.h"
#include "utils/logging/Logger.h"

namespace {

/// Prints a warning when the log file cannot be opened, because the log itself cannot show it.
void WarnOfLog(ServiceHost& host) {
    const auto log = Logging::LogSettings::Read();
    if (log.type == Logging::kFileType && !Logging::LogFile::Open(log.File()))
        host.PrintMessage(L"The log file cannot be opened: " + std::filesystem::path(log.File()).wstring() + L"\n");
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    KIV_LOG(Logging::Info, "Start of KivProtocolManager");
    auto host = ServiceHost::Create(argc, argv, L"KivProtocolManager");
    auto manager = std::make_shared<CProtocolManager>(*host);

    ServiceCallbacks callbacks;
    callbacks.main = [&manager] { return manager->InternalMain(); };
    callbacks.stop = callbacks.shutdown = [&manager](ControlCode) { manager->InternalMainStop(); };
    callbacks.argumentHandler = [&manager](const wchar_t* const* arguments, std::int32_t count,
                                           std::int32_t& badIndex) {
        return manager->ParseArguments(arguments, count, badIndex);
    };
    callbacks.extraUsage = [&host] {
        host->Print(L"--monitorwait:[NUMBER]  Specifies the time to wait before monitoring protocols \n");
    };
    callbacks.init = [&manager, &host](std::int32_t& exitCode) {
        WarnOfLog(*host);
        return manager->Init(exitCode);
    };
    host->Wire(std::move(callbacks));

    const auto exitCode = host->Run();
    if (!host->InServiceMode())
        manager->Release();
    // The manager uses the host, so it is destroyed first.
    manager.reset();
    host.reset();
    KIV_LOG(Logging::Info, "End of KivProtocolManager\n");
    return exitCode;
}
