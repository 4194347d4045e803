#include "protocols/kivapi/Handles.h"

#include <cstdint>
#include <map>
#include <utility>

#include "IPC/class/WireRecord.h"
#include "utils/platform/CodePage.h"
#include "utils/sync/Guarded.h"

namespace kivapi {

namespace {

struct Table {
    std::map<std::uintptr_t, std::shared_ptr<Object>> open;
    std::uintptr_t last = 0;
};

/// Never destroyed: when the process ends, the threads of open handles are gone already and could not be joined.
kivsync::Guarded<Table>& Handles() {
    static auto& table = *new kivsync::Guarded<Table>;
    return table;
}

}  // namespace

void* AddHandle(std::shared_ptr<Object> object) {
    auto table = Handles().Lock();
    table->open.emplace(++table->last, std::move(object));
    return reinterpret_cast<void*>(
        table->last);  // NOLINT(performance-no-int-to-ptr): nobody looks at what it points to
}

std::shared_ptr<Object> FindHandle(const void* handle) {
    auto table = Handles().Lock();
    const auto found = table->open.find(reinterpret_cast<std::uintptr_t>(handle));
    return found == table->open.end() ? nullptr : found->second;
}

void RemoveHandle(const void* handle) {
    std::shared_ptr<Object> object;  // declared before the lock, so that the object is destroyed without it
    auto table = Handles().Lock();
    const auto found = table->open.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == table->open.end())
        throw Refusal{KIV_BAD_HANDLE};  // another thread may have closed it
    object = std::move(found->second);
    table->open.erase(found);
}

std::string Narrow(const char* text) {
    auto narrow = platform::FromUtf8(Required(text));
    if (!narrow || narrow->size() >= wire::Name::kSize)
        throw Refusal{KIV_BAD_TEXT};
    return *std::move(narrow);
}

void PutText(const std::string& narrow, char* buffer) {
    static_cast<void>(PutText(narrow, buffer, KIV_TEXT_SIZE));
}

// A byte of a narrow code page becomes at most three bytes of UTF-8.
static_assert(KIV_TEXT_SIZE > 3 * (wire::Name::kSize - 1));

kiv_result PutText(const std::string& narrow, char* buffer, std::size_t size) {
    const auto text = platform::ToUtf8(narrow);
    if (text.size() >= size)
        return KIV_TOO_SMALL;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return KIV_OK;
}

}  // namespace kivapi
