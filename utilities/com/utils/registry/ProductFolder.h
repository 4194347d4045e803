// Where the product is installed.
#pragma once

#include <string>

namespace VexaUtils {

/// The installation folder, with a separator at its end: the value "INSTALLDIR" of the product's main key, or, when
/// that is missing or empty, the folder of the running executable.
std::string InstallationFolder();

}  // namespace VexaUtils
