#include "utils/logging/SinkFactory.h"
#include "utils/logging/impl/win/ConsoleSink.h"
#include "utils/logging/impl/win/EtwSink.h"

namespace Logging {

std::shared_ptr<ISink> MakeConsoleSink() {
    return std::make_shared<ConsoleSink>();
}

std::shared_ptr<ISink> MakeEventTracingSink() {
    if (!Module(kEtwProviderLibrary))
        return nullptr;
    auto sink = std::make_shared<EtwSink>();
    sink->Open();  // if it fails, the sink drops every entry
    return sink;
}

}  // namespace Logging
