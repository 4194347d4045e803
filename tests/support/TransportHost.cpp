// The transport within one process, for the native build of the tests: named servers, and connections with a bounded
// buffer each way.
#include "support/Doubles.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "IPC/transport/ClientTransport.h"
#include "IPC/transport/ServerTransport.h"
#include "utils/sync/WaitAny.h"

namespace {

using transport_host::Operation;
using Guard = std::unique_lock<std::mutex>;

constexpr std::size_t kBufferSize = 4096;  // bytes each way

/// The client end is 0, the server end 1; each reads from its own buffer.
struct Connection {
    std::array<std::deque<std::uint8_t>, 2> buffers;
    std::array<bool, 2> closed{};
};

struct Listener {
    std::deque<std::shared_ptr<Connection>> waiting;
    bool interrupted = false;
};

/// One lock and one condition for everything.
struct World {
    template <class Condition>
    bool WaitFor(Guard& guard, std::uint32_t timeoutMs, Condition condition) {
        if (timeoutMs != kivsync::kInfinite)
            return changed.wait_for(guard, std::chrono::milliseconds(timeoutMs), condition);
        changed.wait(guard, condition);
        return true;
    }
    bool Fails(Operation operation) { return failures[operation] > 0 && --failures[operation] == 0; }

    std::mutex lock;
    std::condition_variable changed;
    std::map<std::string, std::weak_ptr<Listener>> servers;
    std::map<Operation, int> failures;  // operations until the one that fails
    std::int32_t readLimit = INT32_MAX;
};

World& world = *new World;  // never destroyed: static clients may close while the process ends

class HostClientTransport : public ClientTransport {
  public:
    explicit HostClientTransport(std::string serverName) : serverName_(std::move(serverName)) {}
    explicit HostClientTransport(std::shared_ptr<Connection> connection)
        : connection_(std::move(connection)), own_(1), peer_(0) {}
    ~HostClientTransport() override { HostClientTransport::Close(); }

    std::int32_t Connect(std::uint32_t) override {
        const Guard guard(world.lock);
        const auto listener = world.servers[serverName_].lock();
        if (closed_ || (!connection_ && (!listener || world.Fails(Operation::Connect))))
            return -1;
        if (!connection_)
            connection_ = listener->waiting.emplace_back(std::make_shared<Connection>());
        world.changed.notify_all();
        return 0;
    }

    std::int32_t Close() override {
        const Guard guard(world.lock);
        closed_ = true;
        if (connection_)
            connection_->closed[own_] = true;
        world.changed.notify_all();
        return 0;
    }

    std::int32_t ReadAhead(void* buffer, std::int32_t, std::int32_t capacity, std::uint32_t timeoutMs) override {
        Guard guard(world.lock);
        if (!connection_ || world.Fails(Operation::Read))
            return -1;
        auto& bytes = connection_->buffers[own_];
        const bool slow = world.Fails(Operation::SlowRead);
        const auto ready = [&] { return closed_ || (!slow && !bytes.empty()) || connection_->closed[peer_]; };
        if (!world.WaitFor(guard, timeoutMs, ready) || closed_ || bytes.empty())
            return -1;
        const auto count = std::min({capacity, static_cast<std::int32_t>(bytes.size()), world.readLimit});
        std::copy_n(bytes.begin(), count, static_cast<std::uint8_t*>(buffer));
        bytes.erase(bytes.begin(), bytes.begin() + count);
        world.changed.notify_all();
        return count;
    }

    std::int32_t Write(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) override {
        return std::max(BeginWrite(buffer, size, timeoutMs), -1);
    }

    std::int32_t BeginWrite(const void* buffer, std::int32_t size, std::uint32_t timeoutMs) override {
        Guard guard(world.lock);
        next_ = static_cast<const std::uint8_t*>(buffer);
        size_ = left_ = size;
        slow_ = world.Fails(Operation::SlowWrite);
        return world.Fails(Operation::Write) ? -1 : Transfer(guard, timeoutMs);
    }

    std::int32_t FinishWrite(std::uint32_t timeoutMs) override {
        Guard guard(world.lock);
        return std::max(Transfer(guard, timeoutMs), -1);
    }
    std::uint64_t PeerProcessId() override { return 0; }

  private:
    std::int32_t Transfer(Guard& guard, std::uint32_t timeoutMs) {
        const auto ended = [&] {
            if (closed_ || !connection_ || connection_->closed[peer_])
                return true;
            if (slow_)
                return false;
            auto& bytes = connection_->buffers[peer_];
            const auto count = std::min(static_cast<std::int32_t>(kBufferSize - bytes.size()), left_);
            bytes.insert(bytes.end(), next_, next_ + count);
            next_ += count;
            left_ -= count;
            if (count > 0)
                world.changed.notify_all();
            return left_ == 0;
        };
        if (!world.WaitFor(guard, timeoutMs, ended))
            return kWritePending;
        return left_ == 0 ? size_ : -1;
    }

    const std::string serverName_;
    std::shared_ptr<Connection> connection_;
    const std::size_t own_ = 0;
    const std::size_t peer_ = 1;
    bool closed_ = false;
    const std::uint8_t* next_ = nullptr;  // of the write under way
    std::int32_t size_ = 0;
    std::int32_t left_ = 0;
    bool slow_ = false;
};

class HostServerTransport : public ServerTransport {
  public:
    explicit HostServerTransport(std::shared_ptr<Listener> listener) : listener_(std::move(listener)) {}
    ~HostServerTransport() override {
        const Guard guard(world.lock);
        for (const auto& connection : listener_->waiting)
            connection->closed[1] = true;
        listener_.reset();
        world.changed.notify_all();
    }
    std::int32_t Open() override { return 0; }
    std::int32_t Close() override { return 0; }

    std::shared_ptr<ClientTransport> Accept(std::uint32_t timeoutMs) override {
        Guard guard(world.lock);
        const auto ready = [&] { return listener_->interrupted || !listener_->waiting.empty(); };
        const bool inTime = world.WaitFor(guard, timeoutMs, ready) && !world.Fails(Operation::Accept);
        if (std::exchange(listener_->interrupted, false) || !inTime)
            return {};
        auto connection = std::move(listener_->waiting.front());
        listener_->waiting.pop_front();
        world.changed.notify_all();
        return std::make_shared<HostClientTransport>(std::move(connection));
    }

    void Interrupt() override {
        const Guard guard(world.lock);
        listener_->interrupted = true;
        world.changed.notify_all();
    }

  private:
    std::shared_ptr<Listener> listener_;
};

}  // namespace

std::shared_ptr<ClientTransport> ClientTransport::Make(const std::string& serverName) {
    return std::make_shared<HostClientTransport>(serverName);
}

std::shared_ptr<ServerTransport> ServerTransport::Make(const std::string& serverName) {
    const Guard guard(world.lock);
    auto& known = world.servers[serverName];
    if (world.Fails(Operation::Open) || !known.expired())
        return {};  // one server a name: it keeps a test from meeting another one's
    auto listener = std::make_shared<Listener>();
    known = listener;
    return std::make_shared<HostServerTransport>(std::move(listener));
}

void transport_host::FailOperation(Operation operation, int nth) {
    const Guard guard(world.lock);
    world.failures[operation] = nth;
}

void transport_host::LimitReads(std::int32_t bytes) {
    const Guard guard(world.lock);
    world.readLimit = bytes > 0 ? bytes : INT32_MAX;
}
