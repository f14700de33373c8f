#pragma once
// Runs the built orbitel program as an operator would, with its output caught in files of a
// test's folder.

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "ServerProcess.h"

namespace orbitel::testing {

struct Outcome {
  int code;
  std::string out, err;
};

inline std::string Quote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// `environment` goes before the program ("TZ=America/New_York").
inline Outcome RunOrbitel(const std::string& args, const std::string& folder, const std::string& environment = "") {
  // A command that should end but serves instead is stopped rather than left to hang the suite.
  const std::string command = environment + " timeout 60 " + Quote(ORBITEL_BINARY) + " " + args + " >" +
                              Quote(folder + "/out") + " 2>" + Quote(folder + "/err") + " </dev/null";
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadWholeFile(folder + "/out"), ReadWholeFile(folder + "/err")};
}

}  // namespace orbitel::testing
