// Building blocks of all data on a pipe: integers and text fields with alignment 1, little-endian on any machine, so
// that a plain struct of them has no padding. Each record asserts its offsets and its size.
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

/// A text field of 50 bytes: at most 49 bytes of text, then zeros. A longer text is truncated.
class Name {
  public:
    static constexpr std::size_t kSize = 50;

    Name() = default;
    Name(std::string_view text) {  // NOLINT(google-explicit-constructor): a field is assigned like its text
        const auto length = std::min(text.size(), kSize - 1);
        std::copy_n(text.begin(), length, bytes_.begin());
    }
    Name(const std::string& text) : Name(std::string_view(text)) {}  // NOLINT(google-explicit-constructor)

    /// The text up to the first zero byte, or all 50 bytes if there is none.
    std::string Text() const { return {bytes_.data(), End()}; }
    /// Whether there is a zero byte.
    bool IsEnded() const { return End() != bytes_.data() + kSize; }

  private:
    const char* End() const { return std::find(bytes_.data(), bytes_.data() + kSize, '\0'); }

    std::array<char, kSize> bytes_{};
};

template <class Record>
concept WireRecord = std::is_trivially_copyable_v<Record> && alignof(Record) == 1;

/// A request with text fields: HasEndedTexts tells whether each of them has its zero byte. A text without one must not
/// be accepted, since no text field of a reply or an event could carry it.
template <class Record>
concept WithTexts = requires(const Record& record) {
    record.HasEndedTexts();
};

/// The record at `offset` of the bytes. Nothing when there are too few bytes, or a text of a request has no zero byte.
template <WireRecord Record>
std::optional<Record> Decode(std::span<const std::uint8_t> bytes, std::size_t offset = 0) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(Record))
        return std::nullopt;
    Record record;
    std::memcpy(&record, bytes.data() + offset, sizeof(Record));
    if constexpr (WithTexts<Record>) {
        if (!record.HasEndedTexts())
            return std::nullopt;
    }
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
