// Stands in for the event-tracing provider library: keeps the calls for the test to take.
#include <string>
#include <utility>

#define EXPORT extern "C" __declspec(dllexport)
#define ENTRY_POINT(name)                                                     \
    EXPORT void name(const char* processTag, const char* message) {           \
        calls += std::string(#name) + "(" + processTag + "," + message + ")"; \
    }

static std::string calls, taken;

ENTRY_POINT(ETWInfo)
ENTRY_POINT(ETWWarning)
ENTRY_POINT(ETWMsg)
ENTRY_POINT(ETWError)

/// The calls since the last question; valid until the next one.
EXPORT const char* TakeCalls() {
    taken = std::exchange(calls, {});
    return taken.c_str();
}
