// GlobalSettings: the process-wide time-outs and switches of the IPC framework and of the manager.
//
// The record stands on a low floor so that the framework can read it; filling it from the settings database is the
// business of LoadSettings, beside the database.
#pragma once

#include <cstdint>

/// Time-outs in ms. A copy is taken by every reader; any thread.
struct GlobalSettings {
    static constexpr std::uint32_t kFixedIpcTimeout = 5000;

    bool ipcStatEnabled = false;
    bool ipcMeasureLog = false;
    std::uint32_t ipcTimeout = 5000;
    std::uint32_t vexaDbIpcTimeout = 5000;
    std::uint32_t cclinkIpcTimeout = 5000;
    std::uint32_t fixedIpcTimeout = kFixedIpcTimeout;
    std::uint32_t eipIpcTimeout = 5000;
    std::uint32_t modbusIpcTimeout = 5000;
    std::uint32_t profinetIpcTimeout = 5000;
    std::uint32_t managerClientIpcTimeout = 5000;
    std::uint32_t startTimeout = 10000;
    std::uint32_t stopTimeout = 50000;
    std::uint32_t monitorWaitTime = 300000;

    /// A copy of the process's record, with fixedIpcTimeout at its fixed value.
    static GlobalSettings Get();
    /// Replaces the process's record.
    static void Set(const GlobalSettings& settings);

    /// Overwrites each field whose key the settings database holds and logs the value in force for every key. Defined
    /// beside the database (utils/VexaDB): the in-process server when this process hosts one, else its IPC client.
    static void LoadSettings();
};
