// Paths in the narrow code page, in which this program's texts are.
#pragma once

#include <filesystem>
#include <string>

namespace kivctl {

std::filesystem::path PathOf(const std::string& narrow);
/// The same file for whatever folder a program runs in.
std::string AbsolutePath(const std::string& file);
/// Makes the folder of a log file, since the programs do not and log nothing without it. Says why that is not possible;
/// nothing when the folder is there.
std::string MakeFolderOf(const std::string& file);
/// The same; throws Failure instead.
void RequireFolderOf(const std::string& file);
/// The system's words for why the last operation of the C library failed.
std::string SystemReason();

}  // namespace kivctl
