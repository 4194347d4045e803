#include "protocols/KivProtocol/ProtocolChild.h"

#include <utility>

#include "protocols/control/ChildStart.h"
#include "utils/logging/Logger.h"
#include "utils/platform/Deadline.h"

namespace {

// In ms. The manager makes the ready pipe before it starts this process, so a pipe that is not free at once belongs to
// an earlier start and is about to go.
constexpr std::uint32_t kReadyPipeTimeout = 5000;

// In ms: the time that the manager has to connect after the create result, and the interval at which this process
// looks, since the server announces requests but not connections.
constexpr std::uint32_t kManagerConnectTimeout = 10'000;
constexpr std::uint32_t kManagerConnectInterval = 10;

}  // namespace

std::optional<std::string> ProtocolChild::InstanceName(std::string_view commandLine) {
    const auto key = commandLine.find(kKeyArgument);
    if (key == std::string_view::npos)
        return std::nullopt;
    auto name = commandLine.substr(key + std::string_view(kKeyArgument).size());
    if (key > 0 && commandLine[key - 1] == '"' && name.ends_with('"'))
        name.remove_suffix(1);
    if (name.empty())
        return std::nullopt;
    return std::string(name);
}

ProtocolChild::ProtocolChild(std::string instance)
    : instance_(std::move(instance)), stop_(kivsync::Event::Make(kivsync::Reset::Manual, kivsync::Initially::Clear)) {}

int ProtocolChild::Run() {
    const auto result = CreateStack();
    if (result != kCreated) {
        KIV_LOG(Logging::Error, "Instance %s cannot create its protocol, error %u", instance_.c_str(),
                unsigned{result});
        ReportFailure(result);
        return kExitNotCreated;
    }
    const auto exitCode = Serve();
    server_.Stop();
    DestroyStack();
    return exitCode;
}

void ProtocolChild::RequestStop() {
    stop_->Set();
    server_.Stop();
}

int ProtocolChild::Serve() {
    // The server must listen before the manager learns of the success, because the manager then connects at once.
    if (server_.Start(instance_) != 0) {
        KIV_LOG(Logging::Error, "Instance %s cannot start its server", instance_.c_str());
        ReportFailure(kNoServer);
        return kExitNotCreated;
    }
    const auto readyPipe = ReportCreateResult(kCreated);
    if (!readyPipe || !WaitForManager()) {
        KIV_LOG(Logging::Error, "Instance %s has no manager", instance_.c_str());
        return kExitNoManager;
    }
    readyPipe->Close();
    AnswerRequests();
    return kExitStopped;
}

// Returns the pipe open: if it closed before the manager accepted it, the manager would not get the byte.
std::shared_ptr<ClientTransport> ProtocolChild::ReportCreateResult(std::uint8_t result) {
    auto pipe = ClientTransport::Make(instance_ + kReadyPipeSuffix);
    if (!pipe || pipe->Connect(kReadyPipeTimeout) != 0 ||
        pipe->Write(&result, sizeof result, kReadyPipeTimeout) != sizeof result)
        return nullptr;
    return pipe;
}

// Returns when the manager has closed the pipe, because it has then read the error.
void ProtocolChild::ReportFailure(std::uint8_t error) {
    std::uint8_t nothing = 0;
    if (const auto pipe = ReportCreateResult(error))
        static_cast<void>(pipe->Read(&nothing, sizeof nothing, kReadyPipeTimeout));
}

// True also after RequestStop: the request loop then ends at once.
bool ProtocolChild::WaitForManager() {
    const platform::Deadline deadline(kManagerConnectTimeout);
    while (server_.ClientCount() == 0) {
        if (stop_->Wait(kManagerConnectInterval) == 0)
            return true;
        if (deadline.LeftMs() == 0)
            return false;
    }
    return true;
}

void ProtocolChild::AnswerRequests() {
    // A RequestStop before the server's start did not stop the server. A later one ends the wait in GetRequest.
    if (stop_->Wait(0) == 0)
        return;
    while (const auto request = server_.GetRequest()) {
        const auto reply = Answer(*request);
        if (reply && request->ExpectsReply())
            server_.SendReply(reply);
        if (request->Command() == kIpcStop)
            return;
    }
}

std::shared_ptr<IPC> ProtocolChild::Answer(const IPC& request) {
    if (request.Command() == kIpcAliveCheck || request.Command() == kIpcStop)
        return IPC::Reply(request);
    if (auto reply = server_.AnswerBuiltIn(request, StackState()))
        return reply;
    return HandleRequest(request);
}
