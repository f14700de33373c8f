#pragma once
// The calendar stores behind one narrow interface. A provider is chosen by the name a
// connection sets ("ExOLEDB.DataSource": the local store; "MSDAIPP.DSO": CalDAV), opens a
// folder by its URL, and the open folder answers statements and reads and writes items.
// Providers are process-wide and safe to use from several threads; a StoreFolder belongs to the
// request that opened it.

#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "data/Recordset.h"
#include "data/Statement.h"
#include "data/StoreCredentials.h"
#include "data/StoreTime.h"
#include "runtime/Status.h"

namespace orbitel::data {

// An item's iCalendar text and the version tag a later replace must match.
struct ItemSource {
  std::string href;
  std::string ics;
  std::string etag;
};

class StoreFolder {
 public:
  virtual ~StoreFolder() = default;

  // The folder URL as opened.
  virtual const std::string& url() const = 0;
  // Runs a statement whose scope is this folder: the items (occurrences of recurring items
  // expanded inside the range the WHERE asks for) that pass the WHERE, with exactly the
  // selected columns, in the ORDER BY order. A scope naming another folder fails with
  // errors::kCannotOpenFolder.
  virtual Status Query(const SelectStatement& statement, Recordset& rows) = 0;
  // Removes the item; a missing item is errors::kCannotOpenFolder.
  virtual Status DeleteItem(const std::string& href) = 0;
  virtual Result<ItemSource> ReadItem(const std::string& href) = 0;
  // Stores a new item and returns its href; the store names it "<uid>.ics".
  virtual Result<std::string> CreateItem(const std::string& ics) = 0;
  // Replaces an item when its tag still matches (someone else's change is never overwritten).
  virtual Status ReplaceItem(const std::string& href, const std::string& ics,
                             const std::string& etag) = 0;
};

// A folder a request is about to open and the statement it will then run there.
struct FolderQuery {
  std::string folder_url;
  std::string statement;
};

// What a run of folder reads (StoreProvider::ReadFolders) gives for one folder: whether it
// opened (as OpenFolder reports), and when it did, whether its statement ran (as parsing it and
// StoreFolder::Query report) with the rows it gave.
struct FolderAnswer {
  Status opened = Status::Ok();
  Status queried = Status::Ok();
  Recordset rows;
};

// What a reader of period queries makes of the answers. Rows of items that end before `from` or
// start at or after `until` (UTC seconds) are of no use to it; without `names` it never reads an
// item's names ("DAV:href", "DAV:displayname", "urn:schemas:calendar:uid"). A store may leave
// those rows out of its answers and those names empty (and may as well keep them).
struct ReadNeeds {
  UtcSeconds from = std::numeric_limits<UtcSeconds>::min();
  UtcSeconds until = std::numeric_limits<UtcSeconds>::max();
  bool names = true;
};

class StoreProvider {
 public:
  // Called with each query's index and answer, in the order of the queries.
  using FolderAnswers = std::function<void(std::size_t, FolderAnswer&)>;
  virtual ~StoreProvider() = default;
  // A missing folder or mailbox, a store that cannot be read, or a URL this provider does not
  // serve: errors::kCannotOpenFolder.
  virtual Result<std::unique_ptr<StoreFolder>> OpenFolder(const std::string& url) const = 0;
  // Whether the store behind the folder URLs that start with url_base ("...<domain>/MBX/")
  // answers at all, mailboxes aside: the installation check's store service probe.
  virtual Status ProbeService(const std::string& url_base) const = 0;

  // Told the folders the calling thread is about to open one after another, and the statement
  // it will run on each, a store across the network fetches their answers at once; the thread's
  // following OpenFolder and Query calls are then answered from them, each answer used once, as
  // if the server had been asked at that moment. Whatever could not be fetched is asked for when
  // the call comes, so results and failures are those of the calls alone. Other threads never
  // see these answers. The local store has nothing to gain and does nothing.
  virtual void Prefetch(const std::vector<FolderQuery>& /*queries*/) const {}
  // Forgets this thread's fetched answers that were not used.
  virtual void DropPrefetched() const {}

  // Opens each query's folder and runs its statement there, one after another, as a page's
  // connections and recordsets would (less the rows span leaves out), answering each in turn.
  // A store may read the whole run at once (the local store: each domain's folders in one read
  // of its database, statements of one shape parsed once); this one opens and queries each
  // folder on its own, with the run fetched ahead (Prefetch).
  virtual void ReadFolders(const std::vector<FolderQuery>& queries, const ReadNeeds& span,
                           const FolderAnswers& answer) const;
};

// A request's run of folder opens and queries, fetched ahead through the provider a connection
// names (see StoreProvider::Prefetch) for as long as the scope lives; the answers not used are
// dropped when it ends, so none is ever served to a later request. An unknown provider fetches
// nothing: the opens report it themselves.
class PrefetchScope {
 public:
  PrefetchScope(std::string_view provider_name, const std::vector<FolderQuery>& queries);
  ~PrefetchScope();
  PrefetchScope(const PrefetchScope&) = delete;
  PrefetchScope& operator=(const PrefetchScope&) = delete;

 private:
  std::shared_ptr<const StoreProvider> provider_;
};

// Where the providers find their stores; set once when the program starts.
struct StoreSettings {
  StoreSettings() = default;
  // The local store's root alone, as most callers configure it.
  explicit StoreSettings(std::string root) : store_root(std::move(root)) {}

  std::string store_root;  // the local store's root folder: one sub-folder per mail domain
  // The account CalDAV stores are signed in to (HTTP basic authentication); none: anonymous.
  std::optional<StoreCredentials> credentials;
  // Whether CalDAV calendars are read from their mirror under store_root where a refresh has
  // brought it in step (see MirroredFolder.h), rather than always from the server.
  bool caldav_mirror = false;
};
void ConfigureStores(StoreSettings settings);
// The calling thread's stores: those it is bound to (UsingStores), else the process's.
const StoreSettings& StoreConfiguration();

// Binds the calling thread to the stores of one site for as long as it lives, so a server that
// holds several sites opens each site's folders under that site's own root and account.
class UsingStores {
 public:
  explicit UsingStores(const StoreSettings& settings);
  ~UsingStores();
  UsingStores(const UsingStores&) = delete;
  UsingStores& operator=(const UsingStores&) = delete;

 private:
  const StoreSettings* previous_;
};

// The provider a connection names (ASCII case ignored); errors::kProviderNotFound otherwise.
Result<std::shared_ptr<const StoreProvider>> FindProvider(std::string_view name);
// The provider that serves a URL by its form ("file://./backofficestorage/..." or
// "http(s)://..."), for the appointment object, which is given URLs only.
Result<std::shared_ptr<const StoreProvider>> ProviderForUrl(std::string_view url);

}  // namespace orbitel::data
