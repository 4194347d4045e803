// What the tests and their child process agree on.
#pragma once

namespace child {
inline constexpr unsigned kPatienceMs = 20000;
inline constexpr unsigned kReachedEnd = 3, kDiedWithMutex = 4;  // exit codes
inline constexpr unsigned kLongestArgument = 57;                // of a command line of 69 characters
inline constexpr const char* kGoEvent = "ground-go";            // begins the writing of "log"
inline constexpr const char* kReadySemaphore = "ground-ready";  // counts the children that wait for it
inline constexpr const char* kMutex = "ground-mutex";
inline constexpr const char* kLogVariable = "GROUND_LOG_FILE";
inline constexpr const char* kLogMessage = "a message that either is there as a whole or not at all";
inline constexpr int kLogLines = 300;
}  // namespace child
