// Runs the built programs for a test, with a registry that the test prepares.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "protocols/control/ControlMessages.h"
#include "support/Patience.h"
#include "utils/platform/impl/win/Handle.h"

namespace e2e {

using Setting = std::variant<std::uint32_t, std::string>;
using Settings = std::vector<std::pair<std::string, Setting>>;

/// The settings that an added instance of the sample protocol has, its port, and `more` behind them (a later value
/// wins).
Settings Sample(const std::string& port, const Settings& more = {});

/// Empties the product's registry key and writes the given database-wide values; the programs log to a new file.
void PrepareMachine(const Settings& global = {});
/// Writes one instance's table the way the database stores it.
void WriteTable(const std::string& id, const std::string& name, const Settings& settings);
/// A table of the sample protocol for each name; its position from 0 on is the table's id and the port.
void WriteSamples(const std::vector<std::string>& names);
/// The value of a table (or of the database key, for the empty id): its text, its number in decimal, or "" when absent.
std::string ReadValue(const std::string& id, const std::string& value);

/// The folder of the built programs, with a backslash. Its subfolder "faulty\" has a manager with a child that
/// misbehaves.
std::string ProgramFolder();

/// Whether the log contains the text now.
bool LogHas(const std::string& text);
bool WaitForLog(const std::string& text);
/// Opens a process for waiting and ending; empty when there is none with that id.
UniqueHandle OpenChild(std::uint64_t pid);
bool IsAlive(std::uint64_t pid);

/// One run of a program; the destructor ends it.
class Program {
  public:
    explicit Program(std::string commandLine);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// The exit code; STILL_ACTIVE when it does not end within `timeoutMs`.
    std::int32_t WaitForExit(std::uint32_t timeoutMs = kPatienceMs);
    /// What it has printed so far.
    std::string Output() const;
    /// Waits until it has printed the text.
    bool Prints(const std::string& text) const;

  protected:
    void End();

  private:
    const std::string path_;  // of the file with the program's output
    UniqueHandle process_;
};
struct ProgramResult {
    std::int32_t exitCode = 0;
    std::string output;
};
/// Runs a program to its end.
ProgramResult RunProgram(const std::string& commandLine);

/// A started manager; the destructor ends it and its children.
class ManagerRun : public Program {
  public:
    /// Starts the manager of that folder in console mode and waits until its control server answers.
    explicit ManagerRun(const std::string& folder = "", const std::string& arguments = "");
    ~ManagerRun();

    /// Sends the stop request and returns the exit code.
    std::int32_t Stop();
};

/// Status of an instance over the project's own client; result -36 when the manager does not answer.
ipc_mngctrl_status_reply Status(const std::string& name);
bool WaitForStatus(const std::string& name, InstanceStatus status);
/// Sends a control command with an instance's name and returns its result; kIpcNoReply when there is no reply.
std::int32_t Control(std::uint32_t command, const std::string& name);

}  // namespace e2e
