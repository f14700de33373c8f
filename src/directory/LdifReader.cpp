#include "directory/LdifReader.h"

#include <lber.h>
#include <ldif.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "directory/DirectoryErrors.h"
#include "runtime/TrimBlanks.h"

namespace orbitel::directory {
namespace {

// The lines of one record (up to the next blank line), joined by line breaks as libldap's
// parser reads them, with the file line each starts on, for messages.
struct Record {
  std::string text;
  std::vector<std::pair<std::size_t, int>> starts;  // offset in text, file line

  void Add(std::string_view line, int number) {
    if (!text.empty()) text += '\n';
    starts.emplace_back(text.size(), number);
    text += line;
  }
  int LineAt(std::size_t offset) const {
    auto after = std::upper_bound(starts.begin(), starts.end(), std::pair(offset, std::numeric_limits<int>::max()));
    return std::prev(after)->second;
  }
};

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

  // The text's records in file order, comments left out; blank lines and lines of blanks end
  // a record.
  Result<std::vector<Record>> Records(std::string_view text) const {
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);  // byte order mark
    std::vector<Record> records(1);
    bool in_comment = false;  // the last line was a comment, which a continued line extends
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
        if (!records.back().text.empty()) records.emplace_back();
        in_comment = false;
      } else if (line.front() == '#' || (line.front() == ' ' && in_comment)) {
        in_comment = true;
      } else if (line.front() == ' ' && records.back().text.empty()) {
        return Malformed(number, "a continued line follows no line");
      } else if (line.find_first_of(std::string_view("\0\r", 2)) != std::string_view::npos) {
        return Malformed(number, "the line holds a NUL byte or a carriage return");
      } else {
        records.back().Add(line, number);
        in_comment = false;
      }
    }
    if (records.back().text.empty()) records.pop_back();
    return records;
  }

  // The record's lines as libldap unfolds them, each with the file line it starts on. Folds
  // stay in a line as carriage returns, which libldap's line parser drops from values.
  static std::vector<std::pair<std::string, int>> LinesOf(Record& record) {
    std::vector<std::pair<std::string, int>> lines;
    char* next = record.text.data();
    while (char* line = ldif_getline(&next)) {
      lines.emplace_back(line, record.LineAt(static_cast<std::size_t>(line - record.text.data())));
    }
    return lines;
  }

  // One unfolded line read by libldap's line parser. The checks before it keep to what this
  // directory has always refused and read: libldap would take blanks around a name, fetch a
  // URL value and want base64 padded.
  Result<ParsedLine> Parse(std::string line, int number) const {
    const std::string unfolded = Unfolded(line);
    const std::size_t colon = unfolded.find(':');
    if (colon == std::string::npos) return Malformed(number, "the line has no colon");
    ParsedLine parsed;
    parsed.name = unfolded.substr(0, colon);
    if (parsed.name.empty() || parsed.name.find_first_of(" \t") != std::string::npos) {
      return Malformed(number, "\"" + parsed.name + "\" is not an attribute name");
    }
    const std::string_view rest = std::string_view(unfolded).substr(colon + 1);
    if (!rest.empty() && rest.front() == '<') {
      parsed.from_url = true;
    } else if (!rest.empty() && rest.front() == ':') {
      std::optional<std::string> decoded = DecodeLdifBase64(TrimBlanks(rest.substr(1)));
      if (!decoded) return Malformed(number, "the base64 value of " + parsed.name + " is invalid");
      parsed.value = std::move(*decoded);
    } else {
      berval name{}, value{};
      int copied = 0;
      if (ldif_parse_line2(line.data(), &name, &value, &copied) != 0) {
        return Malformed(number, "the line has no colon");
      }
      // Values that really end in blanks come base64-encoded; trailing ones here are editing.
      parsed.value = std::string(TrimBlanks({value.bv_val, value.bv_len}));
    }
    return parsed;
  }

  // The entry a record describes, or nothing for a change record other than an add.
  Result<std::optional<LdifEntry>> EntryOf(const std::vector<std::pair<std::string, int>>& lines) const {
    Result<ParsedLine> first = Parse(lines.front().first, lines.front().second);
    if (!first.ok()) return first.status();
    if (!EqualsIgnoringCase(first->name, "dn") || first->from_url) {
      return Malformed(lines.front().second, "the entry does not start with a dn");
    }
    LdifEntry entry;
    entry.dn = first->value;
    entry.line = lines.front().second;
    for (std::size_t i = 1; i < lines.size(); ++i) {
      const auto& [line, number] = lines[i];
      if (Unfolded(line) == "-") continue;  // ends a modification; nothing to keep
      Result<ParsedLine> parsed = Parse(line, number);
      if (!parsed.ok()) return parsed.status();
      if (EqualsIgnoringCase(parsed->name, "changetype")) {
        if (!EqualsIgnoringCase(parsed->value, "add")) return std::optional<LdifEntry>();
        entry.attributes.clear();  // what came before were the change's controls
      } else if (EqualsIgnoringCase(parsed->name, "dn")) {
        return Malformed(number, "a second dn in one entry (is a blank line missing?)");
      } else if (!parsed->from_url) {
        entry.attributes.push_back({std::move(parsed->name), std::move(parsed->value)});
      }
    }
    return std::optional<LdifEntry>(std::move(entry));
  }

 private:
  // The line without libldap's fold marks.
  static std::string Unfolded(std::string line) {
    line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
    return line;
  }

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

std::optional<std::string> DecodeLdifBase64(std::string_view text) {
  // libldap's decoder wants whole groups of four and reads past padding: padding only at the
  // end, at most two and only to complete a group, is checked here, and completed when left out.
  std::size_t padding = 0;
  while (!text.empty() && text.back() == '=') {
    text.remove_suffix(1);
    ++padding;
  }
  if (text.find('=') != std::string_view::npos || padding > 2 || text.size() % 4 == 1 ||
      (padding > 0 && (text.size() + padding) % 4 != 0)) {
    return std::nullopt;
  }
  if (text.empty()) return std::string();
  std::string line = "value:: " + std::string(text) + std::string((4 - text.size() % 4) % 4, '=');
  berval name{}, value{};
  int copied = 0;
  if (ldif_parse_line2(line.data(), &name, &value, &copied) != 0) return std::nullopt;
  return std::string(value.bv_val, value.bv_len);
}

Result<std::vector<LdifEntry>> ReadLdif(std::string_view text, std::string_view source) {
  Reader reader(source);
  Result<std::vector<Record>> records = reader.Records(text);
  if (!records.ok()) return records.status();

  std::vector<LdifEntry> entries;
  bool first = true;
  for (Record& record : records.value()) {
    std::vector<std::pair<std::string, int>> lines = Reader::LinesOf(record);
    // "version: 1" heads the file, alone or directly above the first entry.
    if (std::exchange(first, false)) {
      Result<ParsedLine> version = reader.Parse(lines.front().first, lines.front().second);
      if (version.ok() && EqualsIgnoringCase(version->name, "version")) lines.erase(lines.begin());
    }
    if (lines.empty()) continue;
    Result<std::optional<LdifEntry>> entry = reader.EntryOf(lines);
    if (!entry.ok()) return entry.status();
    if (entry->has_value()) entries.push_back(std::move(**entry));
  }
  return entries;
}

}  // namespace orbitel::directory
