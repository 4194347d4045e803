// Used by all functions of kivapi.h: handles, results, and the conversion of the caller's texts, structures and lists.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

#include "protocols/kivapi/kivapi.h"

namespace kivapi {

/// Thrown to end a function of the interface with this result; Guard returns it to the caller.
struct Refusal {
    kiv_result result;
};

/// Calls `body` and returns its result; turns every exception into a result.
template <class Body>
kiv_result Guard(Body body) noexcept {
    try {
        return body();
    } catch (const Refusal& refusal) {
        return refusal.result;
    } catch (...) {
        return KIV_NO_RESOURCES;  // only a lack of memory or threads can cause another exception
    }
}

/// The base of the objects that handles refer to.
class Object {
  public:
    Object() = default;
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
};

/// Opens a handle for the object, which the handle owns from now on. These three functions may be called by any thread.
void* AddHandle(std::shared_ptr<Object> object);
/// The object of the handle; null when the handle is not open.
std::shared_ptr<Object> FindHandle(const void* handle);
/// Closes the handle; throws Refusal (KIV_BAD_HANDLE) when it is not open.
void RemoveHandle(const void* handle);

/// The object of a handle; throws Refusal (KIV_BAD_HANDLE) when the handle is not open or is of another kind.
template <class Kind>
std::shared_ptr<Kind> Get(const void* handle) {
    auto object = std::dynamic_pointer_cast<Kind>(FindHandle(handle));
    if (!object)
        throw Refusal{KIV_BAD_HANDLE};
    return object;
}

/// Returns the pointer; throws Refusal (KIV_BAD_ARGUMENT) when it is null.
template <class Target>
Target* Required(Target* pointer) {
    if (pointer == nullptr)
        throw Refusal{KIV_BAD_ARGUMENT};
    return pointer;
}

/// Converts the caller's UTF-8 text to the narrow code page; throws Refusal (KIV_BAD_TEXT) when that is not possible or
/// the result is longer than 49 bytes.
std::string Narrow(const char* text);

/// Writes a text from the service, as UTF-8, to a buffer of KIV_TEXT_SIZE bytes.
void PutText(const std::string& narrow, char* buffer);
/// The same for a buffer of `size` bytes; writes nothing and returns KIV_TOO_SMALL when the text does not fit.
kiv_result PutText(const std::string& narrow, char* buffer, std::size_t size);

/// Returns the caller's structure; throws Refusal (KIV_BAD_ARGUMENT) when it is shorter than this library's.
template <class Structure>
Structure* Sized(Structure* structure) {
    if (Required(structure)->size < sizeof(Structure))
        throw Refusal{KIV_BAD_ARGUMENT};
    return structure;
}

/// Copies `value` into the caller's structure of `size` bytes and sets the fields that this library does not know to
/// zero.
template <class Structure>
void PutStructure(Structure value, void* target, std::uint32_t size) {
    value.size = size;
    std::memset(target, 0, size);
    std::memcpy(target, &value, sizeof value);
}

/// Fills the caller's array: calls `put` (index, address of the element) for as many of the `total` elements as it has
/// room for. Sets `*count` to `total`.
template <class Put>
kiv_result PutList(void* array, std::size_t elementSize, std::size_t capacity, std::size_t* count, std::size_t total,
                   Put put) {
    *count = total;
    for (std::size_t i = 0; i < std::min(capacity, total); ++i)
        put(i, static_cast<char*>(array) + i * elementSize);
    return total > capacity ? KIV_TOO_SMALL : KIV_OK;
}

}  // namespace kivapi
