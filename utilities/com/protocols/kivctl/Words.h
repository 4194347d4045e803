// Conversion between the words of the operator and values: types, states, results, numbers and times.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "IPC/class/WireRecord.h"

namespace kivctl {

/// The longest name or text that a request carries, in bytes.
inline constexpr std::size_t kNameMaximum = wire::Name::kSize - 1;

/// The type number of a number or a name. A name may be in any letter case, with or without "protocol" at its end;
/// "none" means 0. Throws Failure for any other word.
std::uint32_t ParseType(const std::string& word);
/// The short name of a type, in lower case without "protocol", which ParseType accepts; the number when no type has it.
std::string TypeName(std::uint32_t type);

/// A number from 0 to 4294967295 in decimal digits. Throws Failure for any other word.
std::uint32_t ParseNumber(const std::string& word);

/// "running", "stopped" or "not working"; the number for any other status.
std::string StatusName(std::uint32_t status);

/// The meaning of a result code of the manager, the database or the framework.
std::string ResultMeaning(std::int32_t result);

/// A time in ms: "500ms", "5s", "2m", "1h", "1d", or a bare number in units of `bareMs`. Throws Failure for any other
/// word and for a time above 49 days.
std::uint32_t ParseTime(const std::string& word, std::uint32_t bareMs);

inline constexpr std::uint32_t kOneMs = 1;
inline constexpr std::uint32_t kOneSecond = 1'000;

/// The candidate that differs from the word in the fewest letters; empty when none is similar.
std::string Nearest(const std::string& word, const std::vector<std::string>& candidates);
/// `; did you mean "NEAREST"?`, or an empty text when none is near.
std::string DidYouMean(const std::string& word, const std::vector<std::string>& candidates);

/// Whether the name fits the pattern, in which * matches any characters and ? matches one.
bool Matches(std::string_view pattern, std::string_view name);
bool IsPattern(std::string_view word);

/// "1 instance", "2 instances".
std::string Count(std::size_t number, const std::string& noun);

/// Seconds as "4d 03:02:01"; below one day without the days.
std::string Duration(std::uint64_t seconds);
/// The local time `agoMs` milliseconds ago, "2024-03-05 14:07:09.042".
std::string LocalTime(std::uint64_t agoMs = 0);

}  // namespace kivctl
