// Building blocks of everything that crosses a pipe: integers and text fields of alignment 1, little-endian on any
// machine, so that a plain struct of them has exactly the layout it shows. Each record asserts its offsets and size.
//
//     struct ipc_example_reply {
//         wire::i32 result;  // offset 0, size 4
//         wire::Name name;   // offset 4, size 50
//     };
//     static_assert(sizeof(ipc_example_reply) == 54);
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace wire {

/// One integer, stored little-endian.
template <class Integer>
class Little {
  public:
    constexpr Little() = default;
    constexpr Little(Integer value) {  // NOLINT(google-explicit-constructor): a field is assigned like its integer
        auto rest = static_cast<std::uint64_t>(value);
        for (auto& byte : bytes_) {
            byte = static_cast<std::uint8_t>(rest & 0xFF);
            rest >>= 8;
        }
    }
    constexpr operator Integer() const {  // NOLINT(google-explicit-constructor)
        std::uint64_t value = 0;
        for (std::size_t i = sizeof(Integer); i-- > 0;)
            value = value << 8 | bytes_[i];
        return static_cast<Integer>(value);
    }

  private:
    std::array<std::uint8_t, sizeof(Integer)> bytes_{};
};

using u8 = Little<std::uint8_t>;
using u32 = Little<std::uint32_t>;
using u64 = Little<std::uint64_t>;
using i32 = Little<std::int32_t>;
using i64 = Little<std::int64_t>;

/// A text field: 50 bytes, zero-terminated, the rest zero. At most 49 characters are carried.
class Name {
  public:
    static constexpr std::size_t kSize = 50;

    Name() = default;
    Name(std::string_view text) {  // NOLINT(google-explicit-constructor): a field is assigned like its text
        const auto length = std::min(text.size(), kSize - 1);
        std::copy_n(text.begin(), length, bytes_.begin());
    }
    Name(const std::string& text) : Name(std::string_view(text)) {}  // NOLINT(google-explicit-constructor)

    /// Up to the first zero byte; a field without one ends at its 50 bytes.
    std::string Text() const { return {bytes_.begin(), std::find(bytes_.begin(), bytes_.end(), '\0')}; }

  private:
    std::array<char, kSize> bytes_{};
};

template <class Record>
concept WireRecord = std::is_trivially_copyable_v<Record> && alignof(Record) == 1;

/// The record at `offset` of the bytes; nothing when they are too short for it.
template <WireRecord Record>
std::optional<Record> Decode(std::span<const std::uint8_t> bytes, std::size_t offset = 0) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(Record))
        return std::nullopt;
    Record record;
    std::memcpy(&record, bytes.data() + offset, sizeof(Record));
    return record;
}

/// Appends the record's bytes.
template <WireRecord Record>
void Append(std::vector<std::uint8_t>& bytes, const Record& record) {
    const auto offset = bytes.size();
    bytes.resize(offset + sizeof(Record));
    std::memcpy(bytes.data() + offset, &record, sizeof(Record));
}

/// The record's bytes.
template <WireRecord Record>
std::vector<std::uint8_t> Encode(const Record& record) {
    std::vector<std::uint8_t> bytes;
    Append(bytes, record);
    return bytes;
}

}  // namespace wire
