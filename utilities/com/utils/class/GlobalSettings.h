// GlobalSettings: the process-wide timeouts and switches of the IPC framework and of the manager.
//
// The record is declared below the IPC framework, so that the framework can read it. LoadSettings, which fills it from
// the settings database, is defined beside the database.
#pragma once

#include <cstdint>

/// Timeouts are in ms. Any thread may call the functions: Get returns a copy.
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

    /// A copy of the process's record.
    static GlobalSettings Get();
    /// Replaces the process's record, but keeps fixedIpcTimeout at its fixed value.
    static void Set(const GlobalSettings& settings);

    /// Overwrites each field whose key is in the settings database, and logs the resulting value of every field that
    /// has a key. Reads the database server of this process, or, when it hosts none, asks the server over IPC.
    /// Defined in utils/VexaDB.
    static void LoadSettings();
};
