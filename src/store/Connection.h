#pragma once
// A connection to one calendar folder through the provider it names, and the statements run
// on it. Mirrors the data access layer the pages were written against: set Provider (and
// Mode), Open a folder URL, then open recordsets on it. The provider is chosen among the site's
// (StoreProviders), which must outlive the connection. Not thread-safe; one per request.

#include <memory>
#include <string>

#include "recordset/Recordset.h"
#include "runtime/Status.h"
#include "store/StoreProvider.h"

namespace orbitel::data {

inline constexpr int kStateClosed = 0;
inline constexpr int kStateOpen = 1;

class Connection {
 public:
  // The data layer's version, as the installation check reads it.
  static std::string Version() { return "2.8"; }

  explicit Connection(const StoreProviders& providers) : providers_(providers) {}

  std::string Provider;
  int Mode = 0;  // 3: read/write; accepted and not otherwise used

  // errors::kProviderNotFound for an unknown provider, errors::kCannotOpenFolder for a folder
  // that cannot be opened. User and password are accepted for the original call's shape; the
  // provider authenticates as the program is configured.
  Status Open(const std::string& url, const std::string& user = "",
              const std::string& password = "", long options = -1);
  void Close();
  int State() const { return folder_ ? kStateOpen : kStateClosed; }
  StoreFolder* folder() const { return folder_.get(); }

 private:
  friend Status OpenRecordset(Recordset&, const std::string&, Connection&, int, int, long);
  // Shared so a recordset opened on the connection can tell, through a weak reference, whether
  // the folder is still open when it deletes an item.
  std::shared_ptr<StoreFolder> folder_;
  const StoreProviders& providers_;
};

// Opens source (a statement) on an open connection into rows: errors::kOperationOnClosedObject
// when the connection is not open, errors::kSyntaxError for malformed text. Deleting a row of
// the result and calling Update removes the item it names (its "DAV:href") from the store.
// Cursor settings are accepted and not otherwise used.
Status OpenRecordset(Recordset& rows, const std::string& source, Connection& connection,
                     int cursor_type = -1, int lock_type = -1, long options = -1);

}  // namespace orbitel::data
