#include "host/DemoSite.h"

#include <cstdlib>
#include <sstream>

#include "directory/Directory.h"
#include "host/StoreCommand.h"
#include "runtime/ErrorNumbers.h"
#include "site/SiteFiles.h"

namespace orbitel::host {

namespace fs = std::filesystem;

namespace {

// The folders that belong to the program and are refreshed on every start.
constexpr const char* kProgramFolders[] = {"templates", "images", "help", "styles"};
// The files that belong to the site once made.
constexpr const char* kSiteFiles[] = {site::files::kSettings, site::files::kUsers, "directory.ldif"};

Status Failed(const std::string& what, const std::error_code& error) {
  return Status::Error(errors::kPathNotFound, what + ": " + error.message());
}

}  // namespace

fs::path DemoSiteFolder() {
  if (const char* data_home = std::getenv("XDG_DATA_HOME"); data_home && *data_home == '/') {
    return fs::path(data_home) / "orbitel" / "demo";
  }
  const char* home = std::getenv("HOME");
  return fs::path(home && *home ? home : "/tmp") / ".local" / "share" / "orbitel" / "demo";
}

fs::path ShippedSiteFolder() {
  // An installed program finds the site installed beside it, wherever the tree was put; a
  // program run from its build folder uses the source tree's.
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (!error) {
    const fs::path installed = (program.parent_path() / ORBITEL_INSTALLED_SITE).lexically_normal();
    if (fs::is_regular_file(installed / site::files::kSettings, error)) return installed;
  }
  return ORBITEL_SHIPPED_SITE;
}

Status PrepareDemoSite(const fs::path& shipped, const fs::path& folder, std::ostream& progress) {
  std::error_code error;
  if (!fs::is_regular_file(shipped / site::files::kSettings, error)) {
    return Status::Error(errors::kFileNotFound, "the shipped site folder " + shipped.string() +
                                                    " is missing; give a site folder with --site");
  }
  const bool fresh = !fs::exists(folder / site::files::kSettings, error);
  if (fresh) progress << "Making the demo site in " << folder.string() << "\n";
  fs::create_directories(folder, error);
  if (error) return Failed("cannot make " + folder.string(), error);

  for (const char* name : kProgramFolders) {
    if (!fs::exists(shipped / name, error)) continue;
    fs::copy(shipped / name, folder / name,
             fs::copy_options::recursive | fs::copy_options::overwrite_existing, error);
    if (error) return Failed("cannot copy " + std::string(name) + " into " + folder.string(), error);
  }
  for (const char* name : kSiteFiles) {
    if (fs::exists(folder / name, error)) continue;
    fs::copy_file(shipped / name, folder / name, error);
    if (error) return Failed("cannot copy " + std::string(name) + " into " + folder.string(), error);
  }

  // The store is filled once; a later start shows what the site's users have made of it.
  const fs::path store = folder / "store";
  if (fs::exists(store, error)) return Status::Ok();
  auto directory = directory::OpenDirectory((folder / "directory.ldif").string());
  if (!directory.ok()) return directory.status();
  auto naming_context = (*directory)->NamingContext();
  if (!naming_context.ok()) return naming_context.status();
  const std::string domain = directory::DnsNameOf(*naming_context);
  std::ostringstream failures;
  const int code = RunStoreCommand({"--store-root", (store).string(), "demo", domain,
                                    (folder / "directory.ldif").string()},
                                   progress, failures);
  if (code != 0) {
    fs::remove_all(store, error);  // so the next start tries again
    return Status::Error(errors::kInvalidProcedureCall, "the demo store could not be filled: " + failures.str());
  }
  return Status::Ok();
}

}  // namespace orbitel::host
