#pragma once
// What the running program connects the site to: the account directory and the local calendar
// store's root folder. Set once when the program starts (or by a test before it runs pages) and
// only read while pages run.

#include <filesystem>
#include <memory>

#include "directory/Directory.h"

namespace orbitel::site {

struct SiteServices {
  // The organisation's directory; null means this computer is in no domain.
  std::shared_ptr<const directory::Directory> directory;
  // The local store's root: its sub-folders are the mail domains.
  std::filesystem::path store_root;
};

// The calling thread's services: those it is bound to (UsingServices), else the process's.
const SiteServices& Services();
// The process's services; also points the store providers at store_root.
void SetServices(SiteServices services);

// Binds the calling thread to the services of one site for as long as it lives, so a server
// that holds several sites answers each request with that site's directory and store root.
class UsingServices {
 public:
  explicit UsingServices(const SiteServices& services);
  ~UsingServices();
  UsingServices(const UsingServices&) = delete;
  UsingServices& operator=(const UsingServices&) = delete;

 private:
  const SiteServices* previous_;
};

}  // namespace orbitel::site
