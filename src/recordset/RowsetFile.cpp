#include "recordset/RowsetFile.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "recordset/AtomicFile.h"
#include "recordset/RowsetXml.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {

Status OpenRowsetFile(const std::filesystem::path& path, Recordset& recordset) {
  recordset.Close();
  std::string content;
  if (const int error = ReadWholeFile(path, content); error != 0) {
    if (error == ENOENT || error == ENOTDIR) {
      return Status::Error(errors::kFileNotFound, "File not found");
    }
    return Status::Error(errors::kPersistedFileInvalid, "The rowset file " + path.string() +
                                                            " cannot be read: " +
                                                            std::strerror(error));
  }
  Result<Recordset> parsed = ParseRowsetXml(content, path.string());
  if (!parsed.ok()) return parsed.status();
  recordset = std::move(parsed).value();
  return Status::Ok();
}

Status SaveRowsetFile(Recordset& recordset, const std::filesystem::path& path) {
  if (Status committed = recordset.Update(); !committed.ok()) return committed;
  return ReplaceFile(path, WriteRowsetXml(recordset));
}

}  // namespace orbitel::data
