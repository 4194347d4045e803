#include "utils/logging/impl/win/EtwSink.h"

#include "utils/logging/LogEntry.h"
#include "utils/logging/LogLevel.h"
#include "utils/logging/LogLine.h"

namespace Logging {

EtwSink::EtwSink() : mutex_(CreateMutexW(nullptr, FALSE, L"Global\\vexa-console-sink-mutext")) {}

std::int32_t EtwSink::Open() {
    provider_ = Module(kEtwProviderLibrary);
    if (!provider_)
        return -1;
    info_ = FindFunction<EntryPoint>(provider_.Get(), "ETWInfo");
    warning_ = FindFunction<EntryPoint>(provider_.Get(), "ETWWarning");
    message_ = FindFunction<EntryPoint>(provider_.Get(), "ETWMsg");
    error_ = FindFunction<EntryPoint>(provider_.Get(), "ETWError");
    if (info_ != nullptr && warning_ != nullptr && message_ != nullptr && error_ != nullptr)
        return 0;
    Close();
    return -1;
}

std::int32_t EtwSink::Close() {
    info_ = warning_ = message_ = error_ = nullptr;
    provider_.Free();
    return 0;
}

void EtwSink::Write(const std::shared_ptr<LogEntry>& entry) {
    switch (entry->Level()) {
        case Error:
            Send(error_, entry->Message());
            lineBuffer_.clear();
            break;
        case Warning:
            Send(warning_, entry->Message());
            break;
        case Verbose:
            SendLines(entry->Message());
            break;
        default:
            Send(info_, entry->Message());
            break;
    }
}

void EtwSink::Send(EntryPoint* entryPoint, const std::string& message) {
    if (entryPoint != nullptr)
        entryPoint(ProcessTag().c_str(), message.c_str());
}

void EtwSink::SendLines(const std::string& text) {
    lineBuffer_ += text;
    for (auto end = lineBuffer_.find('\n'); end != std::string::npos; end = lineBuffer_.find('\n')) {
        Send(message_, lineBuffer_.substr(0, end));
        lineBuffer_.erase(0, end + 1);
    }
}

}  // namespace Logging
