// File paths. A std::string is in the narrow code page, as all texts in kivctl.
#pragma once

#include <filesystem>
#include <string>

namespace kivctl {

std::filesystem::path PathOf(const std::string& narrow);
/// The full path of a file whose path may be relative to the current folder. Throws Failure when the narrow code page
/// lacks one of its characters.
std::string AbsolutePath(const std::string& file);
/// Makes the folder of a log file: the programs do not make it, and cannot log without it. Returns an empty text when
/// the folder exists now, else the reason why it does not.
std::string MakeFolderOf(const std::string& file);
/// The same, but throws Failure when the folder cannot be made.
void RequireFolderOf(const std::string& file);
/// The C library's message for errno, which says why its last operation failed.
std::string SystemReason();

}  // namespace kivctl
