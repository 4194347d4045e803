// ProtocolChild: the base class of the process of one protocol instance. The author of a protocol derives from it:
//
//     class EchoProtocol : public ProtocolChild {
//         using ProtocolChild::ProtocolChild;
//         std::uint8_t CreateStack() override { return OpenPort() ? kCreated : kNoPort; }
//         std::shared_ptr<IPC> HandleRequest(const IPC& r) override { return IPC::Reply(r, Echo(r)); }
//     };
//     ...
//     const auto name = ProtocolChild::InstanceName(GetCommandLineA());
//     return name ? EchoProtocol(*name).Run() : ProtocolChild::kExitUsage;
//
// The manager starts the process with the instance's name, waits for one byte that says whether the protocol stack was
// created, and then connects to the server that the process runs under that name.
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

/// One thread calls Run, which calls the four virtual operations on it. Any thread may call RequestStop.
class ProtocolChild {
  public:
    /// Create results: the byte that the manager gets. 0 is success; the protocol chooses the values of its errors.
    static constexpr std::uint8_t kCreated = 0;
    static constexpr std::uint8_t kNoServer = 0xFF;  // the process cannot listen under the instance's name

    /// Exit codes of the process.
    static constexpr int kExitStopped = 0;     // ended by a stop request or by RequestStop
    static constexpr int kExitNotCreated = 1;  // the protocol stack or the server could not be created
    static constexpr int kExitNoManager = 2;   // no manager waited for this process or connected to it
    static constexpr int kExitUsage = 3;       // the command line names no instance

    /// The instance's name in the command line "PROGRAM --key:NAME"; nothing when there is none. The name is the whole
    /// rest of the line, because it may contain spaces and the manager does not quote it. Quotes around the whole
    /// argument are removed.
    static std::optional<std::string> InstanceName(std::string_view commandLine);

    explicit ProtocolChild(std::string instance);
    virtual ~ProtocolChild() = default;
    ProtocolChild(const ProtocolChild&) = delete;
    ProtocolChild& operator=(const ProtocolChild&) = delete;

    /// Creates the protocol stack, reports the result to the manager, answers requests until a stop request or
    /// RequestStop, and destroys the stack. Returns the process's exit code. Called once.
    int Run();
    /// Makes Run end. When Run is called later, it ends before it answers a request.
    void RequestStop();

    const std::string& Instance() const { return instance_; }

  protected:
    /// Creates the protocol stack: kCreated or an error. The manager waits for the result, by default 10 s at most.
    virtual std::uint8_t CreateStack() { return kCreated; }
    /// Destroys the stack; called at the end of Run if CreateStack succeeded.
    virtual void DestroyStack() {}
    /// The reply to a request that is not one of the framework's own; an empty pointer sends no reply. The default is a
    /// reply without a payload, so that a client with an unknown command does not wait in vain.
    virtual std::shared_ptr<IPC> HandleRequest(const IPC& request) { return IPC::Reply(request); }
    /// The state that the framework's state request reports; the protocol defines its values.
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
