// How a command of kivctl ends when it does not succeed.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace kivctl {

/// The same for every command; docs/operations.md and the program's help tell them.
enum ExitCode : int { kDone = 0, kRefused = 1, kWrongUsage = 2, kNotReachable = 3, kNotRunning = 4 };

/// Ends the command: main prints the message, a sentence for the operator, and exits with the code.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode code, const std::string& message, std::int32_t result = 0)
        : std::runtime_error(message), code_(code), result_(result) {}

    ExitCode Code() const { return code_; }
    /// What the manager or the database answered; 0 when neither did.
    std::int32_t Result() const { return result_; }

  private:
    ExitCode code_;
    std::int32_t result_;
};

/// Ends a command that has printed all that there is to say, with that exit code.
struct Exit {
    ExitCode code;
};

/// Throws the Failure of what the manager or the database refused: "Refused: REASON (RESULT)" and the rest, which may
/// say more, or what to do about it.
[[noreturn]] inline void Refuse(const std::string& reason, std::int32_t result, const std::string& rest = ".") {
    throw Failure(kRefused, "Refused: " + reason + " (" + std::to_string(result) + ")" + rest, result);
}

}  // namespace kivctl
