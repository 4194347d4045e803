#include "IPC/class/IPCRequestInfo.h"

#include <utility>

#include "IPC/class/IPC.h"

std::shared_ptr<IPCRequestInfo> IPCRequestInfo::Make() {
    auto queue = std::make_shared<IPCRequestInfo>();
    queue->replyEvent_ = kivsync::Event::Make(kivsync::Reset::Auto, kivsync::Initially::Clear);
    if (!queue->replyEvent_)
        return {};
    return queue;
}

void IPCRequestInfo::Push(std::shared_ptr<IPC> record) {
    bool wake = false;
    {
        const std::scoped_lock guard(lock_);
        replies_.push_back(std::move(record));
        wake = std::exchange(awaited_, false);
    }
    // After the lock: the woken thread takes it at once.
    if (wake)
        replyEvent_->Set();
}

std::shared_ptr<IPC> IPCRequestInfo::Pop() {
    const std::scoped_lock guard(lock_);
    return PopLocked();
}

std::shared_ptr<IPC> IPCRequestInfo::PopOrAwait() {
    const std::scoped_lock guard(lock_);
    awaited_ = replies_.empty();
    return PopLocked();
}

std::shared_ptr<IPC> IPCRequestInfo::PopLocked() {
    if (replies_.empty())
        return {};
    auto record = std::move(replies_.front());
    replies_.pop_front();
    return record;
}

bool IPCRequestInfo::IsEmpty() {
    const std::scoped_lock guard(lock_);
    return replies_.empty();
}

void IPCRequestInfo::Clear() {
    const std::scoped_lock guard(lock_);
    replies_.clear();
    awaited_ = false;
    aborted = false;
}
