// The orbitel program: the first argument names the command, which does the rest.
#include <malloc.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "host/CommandLine.h"
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
  bool help = false, version = false;
  std::vector<std::string> line;  // the command's name and its own line
  const auto misuse = orbitel::host::CommandLine()
                          .Flag("-h,--help", help)
                          .Flag("--version", version)
                          .WordsFromTheFirst(line)
                          .Parse({argv + 1, argv + argc});
  if (misuse) {
    std::cerr << "orbitel: unknown command " << misuse->text << " (orbitel --help lists them)\n";
    return 2;
  }
  if (help || (!line.empty() && line[0] == "help")) {
    PrintUsage(std::cout);
    return 0;
  }
  if (version) {
    std::cout << "orbitel " << ORBITEL_VERSION << "\n";
    return 0;
  }
  if (line.empty()) {
    std::cerr << "orbitel: a command is needed (orbitel --help lists them)\n";
    return 2;
  }
  const std::vector<std::string> args(line.begin() + 1, line.end());
  if (line[0] == "serve") {
    // Request threads share an allocator arena a core rather than take one each: the server's
    // memory then follows its cores, not its 32 request threads.
    mallopt(M_ARENA_MAX, static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
    return orbitel::host::RunServeCommand(args, std::cout, std::cerr);
  }
  if (line[0] == "site") return orbitel::host::RunSiteCommand(args, std::cout, std::cerr);
  if (line[0] == "store") return orbitel::host::RunStoreCommand(args, std::cout, std::cerr);
  std::cerr << "orbitel: unknown command " << line[0] << " (orbitel --help lists them)\n";
  return 2;
}
