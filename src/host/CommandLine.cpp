#include "host/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace orbitel::host {

CommandLine::CommandLine() : app_(std::make_unique<CLI::App>()) {
  app_->set_help_flag();
  app_->allow_extras();
  app_->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

CommandLine::~CommandLine() = default;

CommandLine& CommandLine::Option(const std::string& name, std::string& value) {
  app_->add_option(name, value);
  return *this;
}

CommandLine& CommandLine::Options(const std::string& name, std::vector<std::string>& values) {
  app_->add_option(name, values)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  return *this;
}

CommandLine& CommandLine::Flag(const std::string& names, bool& given) {
  app_->add_flag(names, given);
  return *this;
}

CommandLine& CommandLine::Words(std::vector<std::string>& words) {
  app_->add_option("words", words)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  takes_words_ = true;
  return *this;
}

CommandLine& CommandLine::WordsFromTheFirst(std::vector<std::string>& words) {
  app_->prefix_command();
  rest_ = &words;
  takes_words_ = true;
  return *this;
}

std::optional<CommandLineMisuse> CommandLine::Parse(const std::vector<std::string>& args) {
  std::vector<std::string> reversed(args.rbegin(), args.rend());  // as CLI11 takes them
  try {
    app_->parse(reversed);
  } catch (const CLI::ArgumentMismatch& mismatch) {
    // CLI11 names the option first: "--site: 1 required TEXT missing".
    const std::string what = mismatch.what();
    return CommandLineMisuse{CommandLineMisuse::kNoValue, what.substr(0, what.find(':'))};
  } catch (const CLI::ParseError& error) {
    return CommandLineMisuse{CommandLineMisuse::kOther, error.what()};
  }
  std::vector<std::string> rest = app_->remaining();
  if (rest_ != nullptr) {
    // The first word ends the options; an unknown option before it is still refused.
    auto first_word = std::find_if(rest.begin(), rest.end(), [](const std::string& arg) {
      return arg.size() < 2 || arg[0] != '-';
    });
    rest_->assign(first_word, rest.end());
    rest.erase(first_word, rest.end());
  }
  for (const std::string& arg : rest) {
    if (!takes_words_ || (arg.size() > 1 && arg[0] == '-')) {
      return CommandLineMisuse{CommandLineMisuse::kUnknownOption, arg};
    }
  }
  return std::nullopt;
}

bool CommandLine::Given(const std::string& name) const { return app_->count(name) > 0; }

}  // namespace orbitel::host
