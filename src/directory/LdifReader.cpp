#include "directory/LdifReader.h"

#include <optional>

#include "directory/Base64.h"
#include "directory/DirectoryErrors.h"
#include "directory/TrimBlanks.h"

namespace orbitel::directory {
namespace {

// One unfolded line and the file line it starts on.
struct LogicalLine {
  int line = 0;
  std::string text;
};

using Record = std::vector<LogicalLine>;

struct ParsedLine {
  std::string name;
  std::string value;
  bool from_url = false;
};

class Reader {
 public:
  explicit Reader(std::string_view source) : source_(source) {}

  Status Malformed(int line, std::string_view why) const {
    return Status::Error(errors::kDirectoryFileMalformed,
                         "The directory file " + std::string(source_) + " is malformed at line " +
                             std::to_string(line) + ": " + std::string(why));
  }

  // Unfolds the text and groups its lines into records; comments are dropped.
  Result<std::vector<Record>> Records(std::string_view text) const {
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);  // byte order mark
    std::vector<Record> records(1);
    bool continuable = false;  // a previous line on this record that a fold may extend
    bool in_comment = false;   // ... and it is a comment, so the fold is dropped with it
    int number = 0;
    std::size_t position = 0;
    while (position < text.size()) {
      ++number;
      std::size_t end = text.find('\n', position);
      if (end == std::string_view::npos) end = text.size();
      std::string_view line = text.substr(position, end - position);
      position = end + 1;
      if (!line.empty() && line.back() == '\r') line.remove_suffix(1);

      if (TrimBlanks(line).empty()) {
        if (!records.back().empty()) records.emplace_back();
        continuable = in_comment = false;
      } else if (line.front() == ' ') {
        if (!continuable) return Malformed(number, "a continued line follows no line");
        if (!in_comment) records.back().back().text.append(line.substr(1));
      } else if (line.front() == '#') {
        continuable = in_comment = true;
      } else {
        records.back().push_back({number, std::string(line)});
        continuable = true;
        in_comment = false;
      }
    }
    if (records.back().empty()) records.pop_back();
    return records;
  }

  Result<ParsedLine> Parse(const LogicalLine& line) const {
    std::string_view text = line.text;
    std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) return Malformed(line.line, "the line has no colon");
    ParsedLine parsed;
    parsed.name = std::string(text.substr(0, colon));
    if (parsed.name.empty() || parsed.name.find_first_of(" \t") != std::string::npos) {
      return Malformed(line.line, "\"" + parsed.name + "\" is not an attribute name");
    }
    std::string_view rest = text.substr(colon + 1);
    if (!rest.empty() && rest.front() == ':') {
      std::optional<std::string> decoded = DecodeBase64(TrimBlanks(rest.substr(1)));
      if (!decoded) return Malformed(line.line, "the base64 value of " + parsed.name + " is invalid");
      parsed.value = std::move(*decoded);
    } else if (!rest.empty() && rest.front() == '<') {
      parsed.from_url = true;
    } else {
      // Values that really end in blanks come base64-encoded; trailing ones here are editing.
      parsed.value = std::string(TrimBlanks(rest));
    }
    return parsed;
  }

  // The entry a record describes, or nothing for a change record other than an add.
  Result<std::optional<LdifEntry>> EntryOf(const Record& record) const {
    Result<ParsedLine> first = Parse(record.front());
    if (!first.ok()) return first.status();
    if (!EqualsIgnoringCase(first->name, "dn") || first->from_url) {
      return Malformed(record.front().line, "the entry does not start with a dn");
    }
    LdifEntry entry;
    entry.dn = first->value;
    entry.line = record.front().line;
    for (std::size_t i = 1; i < record.size(); ++i) {
      if (record[i].text == "-") continue;  // ends a modification; nothing to keep
      Result<ParsedLine> parsed = Parse(record[i]);
      if (!parsed.ok()) return parsed.status();
      if (EqualsIgnoringCase(parsed->name, "changetype")) {
        if (!EqualsIgnoringCase(parsed->value, "add")) return std::optional<LdifEntry>();
        entry.attributes.clear();  // what came before were the change's controls
      } else if (EqualsIgnoringCase(parsed->name, "dn")) {
        return Malformed(record[i].line, "a second dn in one entry (is a blank line missing?)");
      } else if (!parsed->from_url) {
        entry.attributes.push_back({std::move(parsed->name), std::move(parsed->value)});
      }
    }
    return std::optional<LdifEntry>(std::move(entry));
  }

 private:
  std::string_view source_;
};

}  // namespace

std::vector<std::string_view> LdifEntry::ValuesOf(std::string_view name) const {
  std::vector<std::string_view> values;
  for (const LdifAttribute& attribute : attributes) {
    if (EqualsIgnoringCase(attribute.name, name)) values.push_back(attribute.value);
  }
  return values;
}

std::string_view LdifEntry::FirstValueOf(std::string_view name) const {
  for (const LdifAttribute& attribute : attributes) {
    if (EqualsIgnoringCase(attribute.name, name) && !attribute.value.empty()) return attribute.value;
  }
  return {};
}

bool LdifEntry::Has(std::string_view name) const {
  for (const LdifAttribute& attribute : attributes) {
    if (EqualsIgnoringCase(attribute.name, name)) return true;
  }
  return false;
}

Result<std::vector<LdifEntry>> ReadLdif(std::string_view text, std::string_view source) {
  Reader reader(source);
  Result<std::vector<Record>> records = reader.Records(text);
  if (!records.ok()) return records.status();

  std::vector<LdifEntry> entries;
  for (std::size_t r = 0; r < records->size(); ++r) {
    Record& record = records.value()[r];
    // "version: 1" heads the file, alone or directly above the first entry.
    if (r == 0 && !record.empty()) {
      Result<ParsedLine> first = reader.Parse(record.front());
      if (first.ok() && EqualsIgnoringCase(first->name, "version")) record.erase(record.begin());
    }
    if (record.empty()) continue;
    Result<std::optional<LdifEntry>> entry = reader.EntryOf(record);
    if (!entry.ok()) return entry.status();
    if (entry->has_value()) entries.push_back(std::move(**entry));
  }
  return entries;
}

}  // namespace orbitel::directory
