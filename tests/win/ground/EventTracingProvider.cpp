// Stands in for the event-tracing provider library: records the calls for the test.
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

/// Returns the calls since the last TakeCalls; the text is valid until the next one.
EXPORT const char* TakeCalls() {
    taken = std::exchange(calls, {});
    return taken.c_str();
}
