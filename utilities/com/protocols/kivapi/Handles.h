// What the functions of kivapi.h have in common: handles, the way in and out for texts, structures and results.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

#include "protocols/kivapi/kivapi.h"

namespace kivapi {

/// Ends a function of the interface with that result; Guard turns it into one.
struct Refusal {
    kiv_result result;
};

/// The result of `body`, which gives one; no exception gets out.
template <class Body>
kiv_result Guard(Body body) noexcept {
    try {
        return body();
    } catch (const Refusal& refusal) {
        return refusal.result;
    } catch (...) {
        return KIV_NO_RESOURCES;  // nothing but memory and threads can be short of
    }
}

/// What a handle stands for.
class Object {
  public:
    Object() = default;
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
};

/// The handles that are open. Any thread.
void* AddHandle(std::shared_ptr<Object> object);
/// Empty when the handle is not open.
std::shared_ptr<Object> FindHandle(const void* handle);
void RemoveHandle(const void* handle);

/// The object of an open handle; refuses any other.
template <class Kind>
std::shared_ptr<Kind> Get(const void* handle) {
    auto object = std::dynamic_pointer_cast<Kind>(FindHandle(handle));
    if (!object)
        throw Refusal{KIV_BAD_HANDLE};
    return object;
}

/// A pointer that has to be there.
template <class Target>
Target* Required(Target* pointer) {
    if (pointer == nullptr)
        throw Refusal{KIV_BAD_ARGUMENT};
    return pointer;
}

/// The caller's text in the narrow code page; refuses what the service cannot keep.
std::string Narrow(const char* text);

/// Writes a text of the service's to a buffer of KIV_TEXT_SIZE bytes.
void PutText(const std::string& narrow, char* buffer);
/// The same to one that may be too small.
kiv_result PutText(const std::string& narrow, char* buffer, std::size_t size);

/// The caller's structure, at least as long as this library knows it.
template <class Structure>
Structure* Sized(Structure* structure) {
    if (Required(structure)->size < sizeof(Structure))
        throw Refusal{KIV_BAD_ARGUMENT};
    return structure;
}

/// Copies `value` into the caller's structure of `size` bytes, and makes the fields zero that this library does not
/// know.
template <class Structure>
void PutStructure(Structure value, void* target, std::uint32_t size) {
    value.size = size;
    std::memset(target, 0, size);
    std::memcpy(target, &value, sizeof value);
}

/// Fills the caller's list with so many elements as it has room for: `put` (index, address of the element).
template <class Put>
kiv_result PutList(void* array, std::size_t elementSize, std::size_t capacity, std::size_t* count, std::size_t total,
                   Put put) {
    *count = total;
    for (std::size_t i = 0; i < std::min(capacity, total); ++i)
        put(i, static_cast<char*>(array) + i * elementSize);
    return total > capacity ? KIV_TOO_SMALL : KIV_OK;
}

}  // namespace kivapi
