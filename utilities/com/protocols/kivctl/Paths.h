// Paths in the narrow code page, in which this program's texts are.
#pragma once

#include <filesystem>
#include <string>

namespace kivctl {

std::filesystem::path PathOf(const std::string& narrow);
/// The same file for whatever folder a program runs in.
std::string AbsolutePath(const std::string& file);
/// Makes the folder of the file, since the programs do not make that of their log file and log nothing without it.
/// Throws Failure when that is not possible.
void MakeFolderOf(const std::string& file);
/// The system's words for why the last operation of the C library failed.
std::string SystemReason();

}  // namespace kivctl
