#include "host/SiteCommand.h"

#include <filesystem>

#include "host/CommandLine.h"
#include "host/CookieSession.h"

namespace orbitel::host {

int RunSiteCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  bool help = false;
  std::vector<std::string> words;
  const auto misuse = CommandLine().Flag("-h,--help", help).Words(words).Parse(args);
  if (help) {
    out << "Usage: orbitel site rotate-key DIR\n"
           "\n"
           "  rotate-key DIR   give the site folder DIR a new session key: everyone signed in to it\n"
           "                   is signed out (servers of the site take the key within a second)\n";
    return 0;
  }
  if (misuse || words.size() != 2 || words[0] != "rotate-key") {
    const std::string problem = misuse           ? "unknown use: " + misuse->text
                                : words.empty() ? std::string("a command is needed")
                                                : "unknown use: " + words[0];
    err << "orbitel site: " << problem << " (orbitel site --help shows the commands)\n";
    return 2;
  }
  const std::filesystem::path site = words[1];
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
