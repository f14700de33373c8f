#include "runtime/FolderWatch.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "TempFolder.h"

namespace orbitel {
namespace {

namespace fs = std::filesystem;

void Write(const fs::path& file, const char* text) { std::ofstream(file) << text; }

// Every way a site's files change must be heard by the next question, and only a change.
TEST(FolderWatch, HearsEveryKindOfChangeAndNothingElse) {
  const fs::path folder = testing::MakeTempFolder("orbitel-watch");
  Write(folder / "settings.xml", "old");
  auto watch = FolderWatch::Start({folder.string()}, {"Errorfile.Log"});
  ASSERT_TRUE(watch);
  const std::pair<const char*, std::function<void()>> changes[] = {
      {"written in place", [&] { Write(folder / "settings.xml", "new"); }},
      {"a file renamed over it", [&] { Write(folder / "next", "x"); fs::rename(folder / "next", folder / "settings.xml"); }},
      {"a file added", [&] { Write(folder / "added.html", "x"); }},
      {"a file removed", [&] { fs::remove(folder / "added.html"); }},
  };
  std::optional<std::uint64_t> before = watch->Changes();
  for (const auto& [what, change] : changes) {
    std::ifstream(folder / "settings.xml").get();  // reading is no change, nor a line logged
    std::ofstream(folder / "Errorfile.Log", std::ios::app) << what << "\n";
    EXPECT_EQ(watch->Changes(), before) << "before: " << what;
    change();
    const std::optional<std::uint64_t> after = watch->Changes();
    ASSERT_TRUE(after && before && *after > *before) << what;
    before = after;
  }

  // A watched folder moved away is watched no more: the watch says so rather than stay silent.
  fs::rename(folder, folder.string() + "-moved");
  EXPECT_FALSE(watch->Changes());
  EXPECT_FALSE(FolderWatch::Start({folder.string()}));
  fs::remove_all(folder.string() + "-moved");
}

}  // namespace
}  // namespace orbitel
