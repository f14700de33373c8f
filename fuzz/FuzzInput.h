#pragma once
// What the fuzz targets share: the input as text, a check whose failure stops the run like a
// crash (so libFuzzer keeps the input that broke a promise of the code under test), and a
// folder for the files a target must write, removed when the run ends.

#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace orbitel::fuzz {

inline std::string_view InputText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

inline void Require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "Broken promise: %s\n", promise);
  std::abort();
}

// A fresh folder under the temporary folder ($TMPDIR, which fuzz/run points at its scratch
// folder), made on first use and removed at exit.
inline const std::filesystem::path& ScratchFolder() {
  struct Folder {
    std::filesystem::path path;
    Folder() {
      std::string pattern = (std::filesystem::temp_directory_path() / "orbitel-fuzz-XXXXXX").string();
      if (::mkdtemp(pattern.data()) == nullptr) Require(false, "a temporary folder can be made");
      path = pattern;
    }
    ~Folder() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
  };
  static const Folder folder;
  return folder.path;
}

}  // namespace orbitel::fuzz
