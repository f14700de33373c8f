#include "site/ErrorLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "runtime/Conversions.h"
#include "runtime/DateText.h"
#include "site/Clock.h"
#include "site/SiteFiles.h"
#include "site/SiteState.h"

namespace orbitel::site {

namespace {

// Appends the whole record with one write on an O_APPEND descriptor: the kernel places it at
// the end in one piece, so two requests logging at once cannot mix their lines.
bool AppendRecord(const std::string& path, const std::string& record) {
  if (path.empty()) return false;
  int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  ssize_t written = ::write(fd, record.data(), record.size());
  bool ok = written == static_cast<ssize_t>(record.size());
  ok = (::close(fd) == 0) && ok;
  return ok;
}

}  // namespace

void WriteErrorLog(std::string_view routine, std::string_view number,
                   std::string_view description, std::string_view context) {
  std::string record = "\"";
  record += FormatGeneralDate(Now());
  record += ", Routine : ";
  record += routine;
  record += ", ";
  record += number;
  record += "   ";
  record += description;
  record += ".  ----  ";
  record += context;
  record += "\"\r\n";

  // The service's journal (or whatever takes stderr) gets each entry as well, in one write.
  std::string journal_line = "orbitel: error in " + std::string(routine) + ": " + std::string(number) + " " +
                             std::string(description);
  if (!context.empty()) journal_line += " (" + std::string(context) + ")";
  for (char& c : journal_line) {
    if (static_cast<unsigned char>(c) < 0x20) c = ' ';
  }
  journal_line += '\n';
  [[maybe_unused]] const ssize_t told = ::write(STDERR_FILENO, journal_line.data(), journal_line.size());

  // An unknown site folder would put the log wherever the process happens to stand, so the
  // line goes to the fallback file instead.
  const std::string& site_path = Site().SitePath;
  if (!site_path.empty() && AppendRecord(files::InSite(site_path, files::kErrorLog), record)) {
    return;
  }
  AppendRecord(files::FallbackErrorLog().string(), record);
}

void WriteErrorLog(std::string_view routine, const Status& error, std::string_view context) {
  WriteErrorLog(routine, std::to_string(error.number()), error.description(), context);
}

}  // namespace orbitel::site
