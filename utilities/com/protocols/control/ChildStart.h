// What the manager and an instance's process agree on for the start of that process.
#pragma once

/// Stands before the instance's name on the process's command line.
inline constexpr const char* kKeyArgument = "--key:";

/// Stands behind the instance's name in the name of the pipe over which the process tells the manager whether it came
/// up.
inline constexpr const char* kReadyPipeSuffix = "-ready";
