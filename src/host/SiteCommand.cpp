#include "host/SiteCommand.h"

#include <filesystem>

#include "host/CookieSession.h"

namespace orbitel::host {

int RunSiteCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
    out << "Usage: orbitel site rotate-key DIR\n"
           "\n"
           "  rotate-key DIR   give the site folder DIR a new session key: everyone signed in to it\n"
           "                   is signed out (servers of the site take the key within a second)\n";
    return 0;
  }
  if (args.size() != 2 || args[0] != "rotate-key") {
    err << "orbitel site: " << (args.empty() ? std::string("a command is needed") : "unknown use: " + args[0])
        << " (orbitel site --help shows the commands)\n";
    return 2;
  }
  const std::filesystem::path site = args[1];
  std::error_code error;
  if (!std::filesystem::is_directory(site, error)) {
    err << "orbitel site: " << site.string() << " is not a folder\n";
    return 1;
  }
  if (Status rotated = RotateSessionKey(site); !rotated.ok()) {
    err << "orbitel site: " << rotated.description() << "\n";
    return 1;
  }
  out << "Every session of " << site.string() << " has ended.\n";
  return 0;
}

}  // namespace orbitel::host
