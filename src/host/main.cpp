// The orbitel program: the first argument names the command, which does the rest.
#include <iostream>
#include <string>
#include <vector>

#include "host/ServeCommand.h"
#include "host/SiteCommand.h"
#include "host/StoreCommand.h"

namespace {

void PrintUsage(std::ostream& out) {
  out << "Usage: orbitel <command> [options]\n"
         "       orbitel --version\n"
         "\n"
         "Commands:\n"
         "  serve    serve the site, or the demo site (orbitel serve --help)\n"
         "  store    manage the local calendar store (orbitel store --help)\n"
         "  site     look after a site folder: end every session (orbitel site --help)\n";
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    std::cerr << "orbitel: a command is needed (orbitel --help lists them)\n";
    return 2;
  }
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    PrintUsage(std::cout);
    return 0;
  }
  if (args[0] == "--version") {
    std::cout << "orbitel " << ORBITEL_VERSION << "\n";
    return 0;
  }
  if (args[0] == "serve") {
    return orbitel::host::RunServeCommand({args.begin() + 1, args.end()}, std::cout, std::cerr);
  }
  if (args[0] == "site") {
    return orbitel::host::RunSiteCommand({args.begin() + 1, args.end()}, std::cout, std::cerr);
  }
  if (args[0] == "store") {
    return orbitel::host::RunStoreCommand({args.begin() + 1, args.end()}, std::cout, std::cerr);
  }
  std::cerr << "orbitel: unknown command " << args[0] << " (orbitel --help lists them)\n";
  return 2;
}
