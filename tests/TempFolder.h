#pragma once
// A fresh, uniquely named folder under the system's temporary folder for one test's files.

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace orbitel::testing {

inline std::filesystem::path MakeTempFolder(const std::string& prefix) {
  std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  return pattern;
}

}  // namespace orbitel::testing
