// The orbitel program: the first argument names the command, which does the rest.
#include <malloc.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <thread>
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
    // Request threads share an allocator arena a core rather than take one each: the server's
    // memory then follows its cores, not its 32 request threads.
    mallopt(M_ARENA_MAX, static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
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
