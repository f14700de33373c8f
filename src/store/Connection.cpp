#include "store/Connection.h"

#include <optional>
#include <string_view>
#include <utility>

#include "query/DataErrors.h"
#include "query/SelectStatement.h"
#include "runtime/Conversions.h"

namespace orbitel::data {
namespace {

constexpr std::string_view kHref = "DAV:href";

std::optional<std::size_t> HrefColumn(const Recordset& rows) {
  for (std::size_t i = 0; i < rows.fields().size(); ++i) {
    if (EqualsIgnoringCase(rows.fields()[i].name, kHref)) return i;
  }
  return std::nullopt;
}

}  // namespace

Status Connection::Open(const std::string& url, const std::string&, const std::string&, long) {
  Close();
  auto provider = providers_.Find(Provider);
  if (!provider.ok()) return provider.status();
  auto folder = (*provider)->OpenFolder(url);
  if (!folder.ok()) return folder.status();
  folder_ = std::move(folder).value();
  return Status::Ok();
}

void Connection::Close() { folder_.reset(); }

Status OpenRecordset(Recordset& rows, const std::string& source, Connection& connection, int,
                     int, long) {
  // A failed open leaves the recordset closed, as the pages test State afterwards.
  rows.Close();
  if (!connection.folder_) return ClosedObjectError();
  auto statement = ParseStatement(source);
  if (!statement.ok()) return statement.status();

  Recordset result;
  if (Status queried = connection.folder_->Query(*statement, result); !queried.ok()) {
    return queried;
  }

  // Deleting a row removes its item from the folder while the connection is still open; the
  // recordset holds no claim on the folder, so closing the connection is never held up by it.
  const std::optional<std::size_t> href = HrefColumn(result);
  std::weak_ptr<StoreFolder> folder = connection.folder_;
  result.SetDeleteHandler([folder, href](const std::vector<Value>& row) -> Status {
    const std::shared_ptr<StoreFolder> open = folder.lock();
    if (!open) return ClosedObjectError();
    if (!href || *href >= row.size()) return ItemNotFoundError();
    return open->DeleteItem(row[*href].Text());
  });
  rows = std::move(result);
  return Status::Ok();
}

}  // namespace orbitel::data
