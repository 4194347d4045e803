// The names that the manager and a child process share when the manager starts the child.
#pragma once

/// Precedes the instance's name on the child's command line.
inline constexpr const char* kKeyArgument = "--key:";

/// Follows the instance's name in the name of the pipe through which the child tells the manager whether its start
/// succeeded.
inline constexpr const char* kReadyPipeSuffix = "-ready";
