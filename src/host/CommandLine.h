#pragma once
// The orbitel commands' command lines, read with CLI11: options written "--name value" or
// "--name=value", each keeping the last value given unless it collects them all; what is not an
// option goes to the command's words. -h and --help are the command's own flag, as its usage
// text is. A refusal names the option at fault, for the command to word as it always has.

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace orbitel::host {

struct CommandLineMisuse {
  enum Kind {
    kUnknownOption,  // text: the option, or a word where the command takes none
    kNoValue,        // text: the option given without its value
    kOther,          // text: CLI11's own words
  };
  Kind kind;
  std::string text;
};

class CommandLine {
 public:
  CommandLine();
  ~CommandLine();

  CommandLine& Option(const std::string& name, std::string& value);
  // Each time the option is given, one more value.
  CommandLine& Options(const std::string& name, std::vector<std::string>& values);
  // names: "--secure-cookies", or "-h,--help".
  CommandLine& Flag(const std::string& names, bool& given);
  // The words in order; without them, a word is refused like an unknown option.
  CommandLine& Words(std::vector<std::string>& words);
  // The first word and everything after it are the words, options included: they are another
  // command's line.
  CommandLine& WordsFromTheFirst(std::vector<std::string>& words);

  // Reads args (without the program and command names) into what was named above.
  std::optional<CommandLineMisuse> Parse(const std::vector<std::string>& args);
  // Whether the option was on the line.
  bool Given(const std::string& name) const;

 private:
  std::unique_ptr<CLI::App> app_;
  std::vector<std::string>* rest_ = nullptr;  // of WordsFromTheFirst
  bool takes_words_ = false;
};

}  // namespace orbitel::host
