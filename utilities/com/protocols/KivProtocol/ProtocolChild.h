// ProtocolChild: the frame of one protocol instance's process. An author of a protocol derives from it:
//
//     class EchoProtocol : public ProtocolChild {
//         using ProtocolChild::ProtocolChild;
//         std::uint8_t CreateStack() override { return OpenPort() ? kCreated : kNoPort; }
//         std::shared_ptr<IPC> HandleRequest(const IPC& request) override { return IPC::Reply(request, Echo(request));
//         }
//     };
//     ...
//     const auto name = ProtocolChild::InstanceName(GetCommandLineA());
//     return name ? EchoProtocol(*name).Run() : ProtocolChild::kExitUsage;
//
// The manager starts the process with its instance's name, waits for one byte that says whether the protocol came up,
// and then connects to the server that the process runs under that name.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "IPC/class/IPC.h"
#include "IPC/class/IPCServer.h"
#include "IPC/transport/ClientTransport.h"
#include "utils/sync/Event.h"

/// Run belongs to one thread, which also calls the four virtual operations; RequestStop may be called by any.
class ProtocolChild {
  public:
    /// Create results: the byte that the manager gets. Anything but 0 is an error of the protocol's own choice.
    static constexpr std::uint8_t kCreated = 0;
    static constexpr std::uint8_t kNoServer = 0xFF;  // the process cannot listen under the instance's name

    static constexpr int kExitStopped = 0;     // ended by a stop request or by RequestStop
    static constexpr int kExitNotCreated = 1;  // the protocol stack or the server did not come up
    static constexpr int kExitNoManager = 2;   // nobody waited for this process, or nobody connected to it
    static constexpr int kExitUsage = 3;       // the command line names no instance

    /// The instance that a command line "PROGRAM --key:NAME" names. The name is the whole rest of the line, since names
    /// may hold blanks and the manager does not quote; quotes around the whole argument are taken off. Empty when there
    /// is no name.
    static std::optional<std::string> InstanceName(std::string_view commandLine);

    explicit ProtocolChild(std::string instance);
    virtual ~ProtocolChild() = default;
    ProtocolChild(const ProtocolChild&) = delete;
    ProtocolChild& operator=(const ProtocolChild&) = delete;

    /// The instance's whole life: brings the protocol up, reports to the manager, answers requests until a stop request
    /// or RequestStop, takes the protocol down. Returns the process's exit code. Called once.
    int Run();
    /// Makes Run end, now or as soon as it is called.
    void RequestStop();

    const std::string& Instance() const { return instance_; }

  protected:
    /// Brings the protocol up: kCreated or an error. The manager waits for it, by default 10 s at most.
    virtual std::uint8_t CreateStack() { return kCreated; }
    /// Takes the protocol down again; called when CreateStack had succeeded.
    virtual void DestroyStack() {}
    /// The reply to a request that is none of the framework's own; empty to send none. As it stands: an empty reply, so
    /// that a client with an unknown command is not left waiting.
    virtual std::shared_ptr<IPC> HandleRequest(const IPC& request) { return IPC::Reply(request); }
    /// What the state request of the framework reports; its values are the protocol's own.
    virtual std::uint32_t StackState() { return 0; }

  private:
    int Serve();
    std::shared_ptr<ClientTransport> ReportCreateResult(std::uint8_t result);
    void ReportFailure(std::uint8_t error);
    bool WaitForManager();
    void AnswerRequests();
    std::shared_ptr<IPC> Answer(const IPC& request);

    const std::string instance_;
    IPCServer server_;
    const std::shared_ptr<kivsync::Event> stop_;
};
