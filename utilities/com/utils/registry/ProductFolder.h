// Where the product is installed.
#pragma once

#include <string>

namespace VexaUtils {

/// The installation folder, ending in a separator: the value "INSTALLDIR" of the product's main key, else the folder of
/// the running executable.
std::string InstallationFolder();

}  // namespace VexaUtils
