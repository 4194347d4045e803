// The transport within one process, for the native build of the tests: named servers, and connections with a bounded
// buffer each way.
#include "support/Doubles.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <utility>

#include "IPC/transport/ClientTransport.h"
#include "IPC/transport/ServerTransport.h"

namespace {

using transport_host::Operation;
using Guard = std::unique_lock<std::mutex>;

constexpr std::size_t kBufferSize = 4096;  // bytes each way

/// One end of a connection. It reads the bytes that the other end has put into `incoming`.
struct End {
    std::deque<std::uint8_t> incoming;
    bool closed = false;
};

struct Connection {
    std::shared_ptr<End> own, peer;
    std::uint64_t peerProcessId;  // 0: unknown
};

struct Listener {
    std::deque<Connection> waiting;  // as the server sees them
    bool interrupted = false;
};

/// One lock and one condition for everything.
struct World {
    template <class Condition>
    bool WaitFor(Guard& guard, std::uint32_t timeoutMs, Condition condition) {
        return changed.wait_for(guard, std::chrono::milliseconds(timeoutMs), condition);  // kInfinite: 49 days
    }
    bool Fails(Operation operation) { return failures[operation] > 0 && --failures[operation] == 0; }

    std::mutex lock;
    std::condition_variable changed;
    std::map<std::string, std::weak_ptr<Listener>> servers;
    std::map<Operation, int> failures;  // operations until the one that fails
    std::uint64_t nextProcessId = 0;    // of the next connection
};

World& world = *new World;  // never destroyed: static clients may close while the process ends

/// Tells for how long its thread lives: a write that is pending then fails, as in the system; what was moved stays so.
struct ThreadLife {
    ~ThreadLife() {
        const Guard guard(world.lock);
        *ended = true;
        world.changed.notify_all();
    }
    const std::shared_ptr<bool> ended = std::make_shared<bool>(false);  // guarded by the world's lock
};

thread_local const ThreadLife threadLife;

class HostClientTransport : public ClientTransport {
  public:
    explicit HostClientTransport(std::string serverName) : serverName_(std::move(serverName)) {}
    explicit HostClientTransport(Connection accepted)
        : isServerEnd_(true),
          own_(std::move(accepted.own)),
          peer_(std::move(accepted.peer)),
          peerProcessId_(accepted.peerProcessId) {}
    ~HostClientTransport() override { HostClientTransport::Close(); }

    std::int32_t Connect(std::uint32_t) override {
        const Guard guard(world.lock);
        const auto listener = world.servers[serverName_].lock();
        if (own_->closed || (!peer_ && (!listener || world.Fails(Operation::Connect))))
            return -1;
        if (!peer_)
            listener->waiting.push_back({peer_ = std::make_shared<End>(), own_, std::exchange(world.nextProcessId, 0)});
        world.changed.notify_all();
        return 0;
    }

    std::int32_t Close() override {
        const Guard guard(world.lock);
        own_->closed = true;
        world.changed.notify_all();
        return 0;
    }

    std::int32_t ReadAhead(void* buffer, std::int32_t, std::int32_t capacity, std::uint32_t timeoutMs) override {
        Guard guard(world.lock);
        if (!peer_ || world.Fails(Operation::Read))
            return -1;
        auto& bytes = own_->incoming;
        const bool slow = world.Fails(Operation::SlowRead);
        const auto ready = [&] { return own_->closed || (!slow && !bytes.empty()) || peer_->closed; };
        if (!world.WaitFor(guard, timeoutMs, ready) || own_->closed || bytes.empty())
            return -1;
        const auto count = std::min(capacity, static_cast<std::int32_t>(bytes.size()));
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
        beginnerEnded_ = threadLife.ended;
        slow_ = world.Fails(Operation::SlowWrite);
        return world.Fails(Operation::Write) ? -1 : Transfer(guard, timeoutMs);
    }

    std::int32_t FinishWrite(std::uint32_t timeoutMs) override {
        Guard guard(world.lock);
        return std::max(Transfer(guard, timeoutMs), -1);
    }
    std::uint64_t PeerProcessId() override { return peerProcessId_; }
    bool HasPeerClosed() override {
        const Guard guard(world.lock);
        return isServerEnd_ && !own_->closed && peer_->closed;
    }

  private:
    std::int32_t Transfer(Guard& guard, std::uint32_t timeoutMs) {
        const auto ended = [&] {
            if (own_->closed || !peer_ || peer_->closed || *beginnerEnded_)
                return true;
            if (slow_)
                return false;
            auto& bytes = peer_->incoming;
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
    const bool isServerEnd_ = false;
    const std::shared_ptr<End> own_ = std::make_shared<End>();
    std::shared_ptr<End> peer_;  // empty: not connected
    const std::uint64_t peerProcessId_ = 0;
    const std::uint8_t* next_ = nullptr;  // of the write in progress
    std::int32_t size_ = 0;
    std::int32_t left_ = 0;
    bool slow_ = false;
    std::shared_ptr<const bool> beginnerEnded_;
};

class HostServerTransport : public ServerTransport {
  public:
    explicit HostServerTransport(std::shared_ptr<Listener> listener) : listener_(std::move(listener)) {}
    ~HostServerTransport() override {
        const Guard guard(world.lock);
        for (const auto& connection : listener_->waiting)
            connection.own->closed = true;
        listener_.reset();
        world.changed.notify_all();
    }

    std::shared_ptr<ClientTransport> Accept(std::uint32_t timeoutMs) override {
        Guard guard(world.lock);
        const auto ready = [&] { return listener_->interrupted || !listener_->waiting.empty(); };
        const bool inTime = world.WaitFor(guard, timeoutMs, ready) && !world.Fails(Operation::Accept);
        if (!inTime)
            return {};
        if (listener_->waiting.empty()) {
            listener_->interrupted = false;
            return {};
        }
        auto connection = std::move(listener_->waiting.front());
        listener_->waiting.pop_front();
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
        return {};  // only one server per name: no test must meet the server of another test
    auto listener = std::make_shared<Listener>();
    known = listener;
    return std::make_shared<HostServerTransport>(std::move(listener));
}

int transport_host::FailOperation(Operation operation, int nth) {
    const Guard guard(world.lock);
    return std::exchange(world.failures[operation], nth);
}

void transport_host::ConnectNextAs(std::uint64_t processId) {
    const Guard guard(world.lock);
    world.nextProcessId = processId;
}
