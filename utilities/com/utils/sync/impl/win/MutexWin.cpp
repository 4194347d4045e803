#include "utils/sync/impl/win/MutexWin.h"

#include "utils/sync/impl/win/SecurityAttributes.h"

namespace kivsync {

namespace {

constexpr const char* kGlobalNames = "Global\\";

}  // namespace

MutexWin::MutexWin(const std::string& name, bool created) : created_(created), name_(kGlobalNames + name) {}

MutexWin::~MutexWin() {
    if (locked_)
        Unlock();
}

std::int32_t MutexWin::Close() {
    return handle_ && !created_ ? UnlockAndClose() : -1;
}

std::int32_t MutexWin::Destroy() {
    return handle_ && created_ ? UnlockAndClose() : -1;
}

std::int32_t MutexWin::UnlockAndClose() {
    if (locked_)
        Unlock();
    return CloseHandle(handle_.Release()) ? 0 : -1;
}

std::int32_t MutexWin::Unlock() {
    if (!handle_)
        return -1;
    locked_ = false;
    return ReleaseMutex(handle_.Get()) ? 0 : -1;
}

std::int32_t MutexWin::Lock(std::uint32_t timeoutMs) {
    if (!handle_)
        return -1;
    const DWORD result = WaitForSingleObject(handle_.Get(), timeoutMs);
    if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED)
        return -1;
    locked_ = true;
    return 0;
}

std::int32_t MutexWin::Lock() {
    return Lock(INFINITE);
}

std::int32_t MutexWin::Create() {
    SecurityAttributes attributes({{EveryoneSid(), SYNCHRONIZE}, {AdministratorsSid(), MUTEX_ALL_ACCESS}});
    SetLastError(ERROR_SUCCESS);
    handle_.Reset(CreateMutexA(attributes.Get(), FALSE, name_.c_str()));
    // The system also returns a handle when the mutex exists already; only the last error tells the difference.
    if (GetLastError() != ERROR_SUCCESS)
        handle_.Reset();
    return handle_ ? 0 : -1;
}

std::int32_t MutexWin::Open() {
    handle_.Reset(OpenMutexA(SYNCHRONIZE, FALSE, name_.c_str()));
    return handle_ ? 0 : -1;
}

std::shared_ptr<Mutex> Mutex::MakeNamed(const std::string& name, bool lockNow) {
    auto mutex = std::make_shared<MutexWin>(name, true);
    if (mutex->Create() != 0)
        return nullptr;
    if (lockNow && mutex->Lock() != 0)
        return nullptr;
    return mutex;
}

std::shared_ptr<Mutex> Mutex::OpenNamed(const std::string& name) {
    auto mutex = std::make_shared<MutexWin>(name, false);
    return mutex->Open() == 0 ? mutex : nullptr;
}

}  // namespace kivsync
