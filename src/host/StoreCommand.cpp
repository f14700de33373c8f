#include "host/StoreCommand.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <variant>

#include "directory/Directory.h"
#include "host/CommandLine.h"
#include "host/DemoCalendar.h"
#include "ical/CalendarImport.h"
#include "ical/ICalendar.h"
#include "ical/ItemOccurrences.h"
#include "localstore/LocalStore.h"
#include "localstore/LocalStoreDatabase.h"
#include "localstore/StoreBackup.h"
#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "store/StoreUrl.h"

namespace orbitel::host {
namespace {

using data::LocalStoreDatabase;
using data::UtcSeconds;

constexpr int kFailed = 1;
constexpr int kMisused = 2;

struct Options {
  std::string store_root = "./store";
  std::optional<Date> from;
  std::optional<Date> to;
  bool help = false;
  std::vector<std::string> words;  // the subcommand and its operands
};

// A failure to report: the message and the exit code.
struct Failure {
  int code;
  std::string message;
};

// A day of --from or --to: a midnight written YYYY-MM-DD.
std::optional<Date> MidnightOf(const std::string& text) {
  const std::optional<Date> date = ParseIsoDate(text);
  if (!date || !date->IsMidnight()) return std::nullopt;
  return date;
}

std::optional<Failure> ParseOptions(const std::vector<std::string>& args, Options& options) {
  std::string store_root, from, to;
  CommandLine line;
  line.Flag("-h,--help", options.help)
      .Option("--store-root", store_root)
      .Option("--from", from)
      .Option("--to", to)
      .Words(options.words);
  if (const auto misuse = line.Parse(args)) {
    if (misuse->kind == CommandLineMisuse::kUnknownOption) {
      return Failure{kMisused, "unknown option " + misuse->text};
    }
    if (misuse->kind == CommandLineMisuse::kOther) return Failure{kMisused, misuse->text};
    if (misuse->text == "--store-root") return Failure{kMisused, "--store-root needs a folder"};
    return Failure{kMisused, misuse->text + " needs a date written YYYY-MM-DD"};
  }
  if (line.Given("--store-root")) {
    if (store_root.empty()) return Failure{kMisused, "--store-root needs a folder"};
    options.store_root = store_root;
  }
  if (line.Given("--from") && !(options.from = MidnightOf(from))) {
    return Failure{kMisused, "--from needs a date written YYYY-MM-DD"};
  }
  if (line.Given("--to") && !(options.to = MidnightOf(to))) {
    return Failure{kMisused, "--to needs a date written YYYY-MM-DD"};
  }
  return std::nullopt;
}

std::optional<Failure> CheckNames(const std::string& domain, const std::string& account) {
  if (!data::ParseFolderUrl(data::FolderUrlOf(domain, account))) {
    return Failure{kFailed, "'" + domain + "' / '" + account +
                                "' cannot name a mailbox (a domain of letters, digits, '.', '-' "
                                "and '_'; an account without '/' or blanks)"};
  }
  return std::nullopt;
}

// The domain's database and the mailbox's folder, both existing.
struct Mailbox {
  std::shared_ptr<LocalStoreDatabase> database;
  LocalStoreDatabase::FolderId folder = 0;
};

std::variant<Mailbox, Failure> OpenMailbox(const Options& options, const std::string& domain,
                                           const std::string& account) {
  if (auto bad = CheckNames(domain, account)) return *bad;
  auto database = LocalStoreDatabase::Open(options.store_root, ToLower(domain));
  if (!database.ok()) return Failure{kFailed, database.status().description()};
  auto folder = (*database)->FindFolder(account);
  if (!folder.ok()) return Failure{kFailed, folder.status().description()};
  if (!*folder) {
    return Failure{kFailed, "the domain " + domain + " has no mailbox " + account +
                                " (create it with: orbitel store create-mailbox " + domain + " " +
                                account + ")"};
  }
  return Mailbox{*database, **folder};
}

std::optional<Failure> CreateMailbox(const Options& options, std::ostream& out) {
  const std::string& domain = options.words[1];
  const std::string& account = options.words[2];
  if (auto bad = CheckNames(domain, account)) return bad;
  auto database = LocalStoreDatabase::OpenOrCreate(options.store_root, ToLower(domain));
  if (!database.ok()) return Failure{kFailed, database.status().description()};
  auto existing = (*database)->FindFolder(account);
  if (!existing.ok()) return Failure{kFailed, existing.status().description()};
  auto folder = (*database)->CreateMailbox(account);
  if (!folder.ok()) return Failure{kFailed, folder.status().description()};
  out << (*existing ? "Mailbox already there: " : "Created mailbox: ")
      << data::FolderUrlOf(ToLower(domain), account) << "\n";
  return std::nullopt;
}

std::optional<Failure> Import(const Options& options, std::ostream& out, std::ostream& err) {
  const std::string& file = options.words[3];
  std::ifstream in(file, std::ios::binary);
  std::ostringstream text;
  if (!in || !(text << in.rdbuf())) {
    if (in && in.peek() == std::char_traits<char>::eof()) {
      // An empty file reads as nothing; ParseCalendar reports it.
    } else {
      return Failure{kFailed, file + ": cannot be read"};
    }
  }
  auto items = data::ParseCalendar(text.str());
  if (!items.ok()) return Failure{kFailed, file + ": " + items.status().description()};

  auto opened = OpenMailbox(options, options.words[1], options.words[2]);
  if (auto* failure = std::get_if<Failure>(&opened)) return *failure;
  // Through the store's folder, as any import: all or nothing.
  const data::StoreProviders providers({data::MakeLocalStoreProvider(options.store_root)});
  const std::string url = data::FolderUrlOf(ToLower(options.words[1]), options.words[2]);
  auto folder = (*providers.ForUrl(url))->OpenFolder(url);
  if (!folder.ok()) return Failure{kFailed, folder.status().description()};
  const Status imported = data::ImportItems(**folder, *items, [&err](std::size_t done, std::size_t total) {
    err << "imported " << done << " of " << total << " items\n";
  });
  if (!imported.ok()) return Failure{kFailed, file + ": " + imported.description() + "; nothing imported"};
  const std::size_t total = items->size();
  out << "Imported " << total << " item" << (total == 1 ? "" : "s") << " into "
      << data::FolderUrlOf(ToLower(options.words[1]), options.words[2]) << "\n";
  return std::nullopt;
}

std::optional<Failure> Export(const Options& options, std::ostream& out) {
  auto opened = OpenMailbox(options, options.words[1], options.words[2]);
  if (auto* failure = std::get_if<Failure>(&opened)) return *failure;
  Mailbox& mailbox = std::get<Mailbox>(opened);
  auto items = mailbox.database->All(mailbox.folder);
  if (!items.ok()) return Failure{kFailed, items.status().description()};
  std::vector<std::string> texts;
  texts.reserve(items->size());
  for (const auto& item : *items) texts.push_back(item.ics);
  out << data::JoinCalendar(texts);
  return std::nullopt;
}

std::string LocalText(Date utc, bool date_only) {
  const Date local = data::LocalOfUtc(data::UtcOfDate(utc));
  char text[32];
  if (date_only) {
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", local.Year(), local.Month(), local.Day());
  } else {
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d", local.Year(), local.Month(),
                  local.Day(), local.Hour(), local.Minute());
  }
  return text;
}

std::optional<Failure> List(const Options& options, std::ostream& out) {
  auto opened = OpenMailbox(options, options.words[1], options.words[2]);
  if (auto* failure = std::get_if<Failure>(&opened)) return *failure;
  Mailbox& mailbox = std::get<Mailbox>(opened);
  auto items = mailbox.database->All(mailbox.folder);
  if (!items.ok()) return Failure{kFailed, items.status().description()};

  // With a period: every occurrence overlapping it, from the local midnight starting --from to
  // the one ending --to. Without: each item once, at its first occurrence.
  const bool ranged = options.from || options.to;
  const UtcSeconds from = options.from ? data::UtcOfLocal(*options.from)
                                       : std::numeric_limits<UtcSeconds>::min();
  const UtcSeconds until = options.to ? data::UtcOfLocal(options.to->AddDays(1).value_or(*options.to)) - 1
                                      : std::numeric_limits<UtcSeconds>::max();
  std::vector<std::pair<data::StoreItem, bool>> lines;  // the item and whether it recurs
  for (const auto& item : *items) {
    auto summary = data::SummarizeItem(item.ics);
    if (!summary.ok()) continue;
    if (!ranged) {
      lines.emplace_back(summary->master, summary->recurring);
      continue;
    }
    auto occurrences = data::ExpandItem(item.ics, from, until);
    if (!occurrences.ok()) continue;
    for (auto& occurrence : *occurrences) lines.emplace_back(std::move(occurrence), summary->recurring);
  }
  std::stable_sort(lines.begin(), lines.end(), [](const auto& a, const auto& b) {
    return a.first.dtstart < b.first.dtstart;
  });
  for (const auto& [item, recurring] : lines) {
    out << LocalText(item.dtstart, item.alldayevent) << "\t"
        << LocalText(item.dtend, item.alldayevent) << "\t" << item.busystatus << "\t"
        << item.subject << (recurring && !ranged ? " (recurring)" : "") << "\n";
  }
  return std::nullopt;
}

std::optional<Failure> Demo(const Options& options, std::ostream& out) {
  const std::string& domain = options.words[1];
  const std::string& source = options.words[2];
  auto directory = directory::OpenDirectory(source);
  if (!directory.ok()) return Failure{kFailed, source + ": " + directory.status().description()};
  auto accounts = (*directory)->Accounts();
  if (!accounts.ok()) return Failure{kFailed, source + ": " + accounts.status().description()};
  if (auto bad = CheckNames(domain, "demo")) return bad;
  auto database = LocalStoreDatabase::OpenOrCreate(options.store_root, ToLower(domain));
  if (!database.ok()) return Failure{kFailed, database.status().description()};

  auto writes = (*database)->BeginWrites();
  if (!writes.ok()) return Failure{kFailed, writes.status().description()};
  const Date today = Date::Today();
  int filled = 0;
  for (const directory::Account& account : *accounts) {
    if (account.disabled) continue;
    if (CheckNames(domain, account.name)) continue;  // a name no folder URL can carry
    auto folder = (*database)->CreateMailbox(account.name);
    if (!folder.ok()) return Failure{kFailed, folder.status().description()};
    auto removed = (*database)->RemoveByUidPrefix(*folder, kDemoUidPrefix);
    if (!removed.ok()) return Failure{kFailed, removed.status().description()};
    for (const std::string& ics : DemoAppointments(account.name, today)) {
      auto parsed = data::ParseCalendar(ics);
      if (!parsed.ok() || parsed->size() != 1) {
        return Failure{kFailed, "a demo appointment does not parse: " + parsed.status().description()};
      }
      auto tag = (*database)->Put(*folder, data::ItemNameOf(parsed->front().uid), parsed->front().ics);
      if (!tag.ok()) return Failure{kFailed, tag.status().description()};
    }
    ++filled;
  }
  if (Status committed = (*writes)->Commit(); !committed.ok()) return Failure{kFailed, committed.description()};
  out << "Filled " << filled << " mailbox" << (filled == 1 ? "" : "es") << " of " << ToLower(domain)
      << " with demo appointments\n";
  return std::nullopt;
}

std::optional<Failure> BackUp(const Options& options, std::ostream& out) {
  const std::string& destination = options.words[1];
  int copied = 0;
  Status status = data::BackUpStore(options.store_root, destination, [&](const std::string& domain, const std::string& path) {
    out << "Backed up " << domain << " to " << path << "\n";
    ++copied;
  });
  if (!status.ok()) return Failure{kFailed, status.description()};
  if (copied == 0) out << "The store " << options.store_root << " holds no domain; nothing to back up\n";
  return std::nullopt;
}

std::optional<Failure> Restore(const Options& options, std::ostream& out) {
  Status status = data::RestoreStore(options.store_root, options.words[1],
                                     [&](const std::string& domain, const std::string& path) {
                                       out << "Restored " << domain << " into " << path << "\n";
                                     });
  if (!status.ok()) return Failure{kFailed, status.description()};
  return std::nullopt;
}

}  // namespace

void PrintStoreUsage(std::ostream& out) {
  out << "Usage: orbitel store [--store-root DIR] <command> ...\n"
         "\n"
         "The local calendar store: one database per mail domain under DIR (default ./store).\n"
         "\n"
         "Commands:\n"
         "  create-mailbox <domain> <account>        add a mailbox (and the domain's database)\n"
         "  import <domain> <account> <file.ics>     add or replace the file's items, all or none\n"
         "  export <domain> <account>                write the mailbox as one VCALENDAR\n"
         "  list <domain> <account> [--from YYYY-MM-DD] [--to YYYY-MM-DD]\n"
         "                                           one line per item (per occurrence in a period):\n"
         "                                           local start, end, busy status, subject\n"
         "  demo <domain> <directory.ldif>           fill every enabled account's mailbox with demo\n"
         "                                           appointments around today (replacing earlier ones)\n"
         "  backup <folder>                          copy every domain's database into a new folder,\n"
         "                                           consistent while the server serves and writes\n"
         "  restore <folder>                         put a backup's databases back (checked first;\n"
         "                                           the server may keep running)\n";
}

int RunStoreCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  Options options;
  std::optional<Failure> failure = ParseOptions(args, options);
  if (!failure && options.help) {
    PrintStoreUsage(out);
    return 0;
  }
  if (!failure) {
    struct Command {
      const char* name;
      std::size_t operands;
    };
    static constexpr Command kCommands[] = {
        {"create-mailbox", 2}, {"import", 3}, {"export", 2}, {"list", 2}, {"demo", 2},
        {"backup", 1},         {"restore", 1}};
    const Command* command = nullptr;
    if (!options.words.empty()) {
      for (const Command& candidate : kCommands) {
        if (options.words[0] == candidate.name) command = &candidate;
      }
    }
    if (command == nullptr) {
      failure = Failure{kMisused, options.words.empty() ? "a command is needed"
                                                        : "unknown command " + options.words[0]};
    } else if (options.words.size() != command->operands + 1) {
      failure = Failure{kMisused, std::string(command->name) + " takes " +
                                      std::to_string(command->operands) +
                                      (command->operands == 1 ? " operand" : " operands")};
    } else if ((options.from || options.to) && options.words[0] != "list") {
      failure = Failure{kMisused, "--from and --to belong to list"};
    } else {
      const std::string& name = options.words[0];
      if (name == "create-mailbox") failure = CreateMailbox(options, out);
      if (name == "import") failure = Import(options, out, err);
      if (name == "export") failure = Export(options, out);
      if (name == "list") failure = List(options, out);
      if (name == "demo") failure = Demo(options, out);
      if (name == "backup") failure = BackUp(options, out);
      if (name == "restore") failure = Restore(options, out);
    }
  }
  if (!failure) return 0;
  err << "orbitel store: " << failure->message << "\n";
  if (failure->code == kMisused) err << "Run 'orbitel store --help' for usage.\n";
  return failure->code;
}

}  // namespace orbitel::host
