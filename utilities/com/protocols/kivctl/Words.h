// The words in which an operator and kivctl speak of types, states, results and times.
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

/// The type number that a number or a name stands for; names in any letter case, with or without "protocol" at the end,
/// "none" for 0. Throws Failure for any other word.
std::uint32_t ParseType(const std::string& word);
/// Name and number as ParseType takes them; the number alone when no type has it.
std::string TypeName(std::uint32_t type);

/// The value of a number setting: decimal digits up to 4294967295. Throws Failure otherwise.
std::uint32_t ParseNumber(const std::string& word);

/// "running", "stopped", "not working"; the number for a status that is none of them.
std::string StatusName(std::uint32_t status);

/// What a result code of manager, database or framework means.
std::string ResultMeaning(std::int32_t result);

/// A time in ms: "500ms", "5s", "2m", "1h", "1d", or a bare number of the unit `bareMs`. Throws Failure for any other
/// word and for one above 49 days.
std::uint32_t ParseTime(const std::string& word, std::uint32_t bareMs);

inline constexpr std::uint32_t kOneMs = 1;
inline constexpr std::uint32_t kOneSecond = 1'000;

/// The candidate that differs from the word in the fewest letters; empty when none is near.
std::string Nearest(const std::string& word, const std::vector<std::string>& candidates);
/// "; did you mean NEAREST?", or nothing.
std::string DidYouMean(const std::string& word, const std::vector<std::string>& candidates);

/// Whether the name fits the pattern, in which * stands for any letters and ? for one.
bool Matches(std::string_view pattern, std::string_view name);
bool IsPattern(std::string_view word);

/// "1 instance", "2 instances".
std::string Count(std::size_t number, const std::string& noun);

/// Seconds as "4d 03:02:01", without days below one.
std::string Duration(std::uint64_t seconds);
/// The local time of now, "2024-03-05 14:07:09.042", and of so many ms ago.
std::string LocalTime(std::uint64_t agoMs = 0);

}  // namespace kivctl
