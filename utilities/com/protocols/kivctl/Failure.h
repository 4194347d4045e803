// The exceptions that end a command of kivctl, and its exit codes.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace kivctl {

/// The same for every command; docs/operations.md and the program's help explain them.
enum ExitCode : int { kDone = 0, kRefused = 1, kWrongUsage = 2, kNotReachable = 3, kNotRunning = 4 };

/// Ends the command: main prints the message, which is for the operator, and exits with the code.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode code, const std::string& message, std::int32_t result = 0)
        : std::runtime_error(message), code_(code), result_(result) {}

    ExitCode Code() const { return code_; }
    /// The result code of the manager, the database or the system; 0 when there is none.
    std::int32_t Result() const { return result_; }

  private:
    ExitCode code_;
    std::int32_t result_;
};

/// Ends a command that has already printed its outcome, with this exit code.
struct Exit {
    ExitCode code;
};

/// Throws the Failure for a request that was refused, with the message "Refused: REASON (RESULT)" and `rest`, which may
/// add details or the remedy.
[[noreturn]] inline void Refuse(const std::string& reason, std::int32_t result, const std::string& rest = ".") {
    throw Failure(kRefused, "Refused: " + reason + " (" + std::to_string(result) + ")" + rest, result);
}

}  // namespace kivctl
