#include "utils/class/Process.h"

#include <utility>

Process::Process(std::string path, std::vector<std::string> arguments)
    : implementation_(MakeImplementation(std::move(path), std::move(arguments))) {}

std::uint32_t Process::Start() {
    return implementation_->Start();
}

std::int32_t Process::Stop() {
    return implementation_->Stop();
}

bool Process::IsStarted() {
    return implementation_->IsStarted();
}

bool Process::IsRunning() {
    return implementation_->IsRunning();
}

bool Process::WaitForExit(std::uint32_t timeoutMs) {
    return implementation_->WaitForExit(timeoutMs);
}

std::uint64_t Process::GetPid() {
    return implementation_->GetPid();
}

void Process::OnEnd(EndMonitor monitor) {
    implementation_->OnEnd(std::move(monitor));
}
