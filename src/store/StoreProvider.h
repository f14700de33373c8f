#pragma once
// The calendar stores behind one narrow interface. A provider is chosen by the name a
// connection sets ("ExOLEDB.DataSource": the local store; "MSDAIPP.DSO": CalDAV), opens a
// folder by its URL, and the open folder answers statements and reads and writes items.
// A site's providers are made when the program starts (StoreProviders) and are safe to use from
// several threads; a StoreFolder belongs to the request that opened it.

#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "query/SelectStatement.h"
#include "recordset/Recordset.h"
#include "runtime/Status.h"
#include "store/StoreCredentials.h"
#include "store/StoreTime.h"

namespace orbitel::data {

// An item's iCalendar text and the version tag a later replace must match.
struct ItemSource {
  std::string href;
  std::string ics;
  std::string etag;
};

// Writes of one folder that stand or fall together: what is written meanwhile is kept only
// when Commit succeeds, and undone when the object goes without it.
class StoreWrites {
 public:
  virtual ~StoreWrites() = default;
  virtual Status Commit() = 0;
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

  // For imports, which bring whole calendar files into a store that keeps its own items: adds
  // the item as "<uid>.ics" or replaces the item of that name whatever its version, and begins
  // writes that stand or fall together. A store that cannot promise that (a calendar server)
  // refuses both with errors::kCannotOpenFolder.
  virtual Status PutItem(const std::string& uid, const std::string& ics);
  virtual Result<std::unique_ptr<StoreWrites>> BeginWrites();
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
  // The name a connection sets to choose this provider; ASCII case is ignored when choosing.
  virtual std::string_view name() const = 0;
  // Whether folder URLs of this form are this provider's (the appointment object is given
  // URLs only, and finds the provider by them).
  virtual bool Serves(std::string_view url) const = 0;
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

// The providers a site's connections and appointment objects choose from: made once when the
// program starts (or by a test, which may hand in a provider of its own) and only read after.
class StoreProviders {
 public:
  StoreProviders() = default;
  explicit StoreProviders(std::vector<std::shared_ptr<const StoreProvider>> providers)
      : providers_(std::move(providers)) {}

  // The provider a connection names (ASCII case ignored); errors::kProviderNotFound otherwise.
  Result<std::shared_ptr<const StoreProvider>> Find(std::string_view name) const;
  // The provider that serves a folder URL; errors::kCannotOpenFolder when none does.
  Result<std::shared_ptr<const StoreProvider>> ForUrl(std::string_view url) const;

 private:
  std::vector<std::shared_ptr<const StoreProvider>> providers_;
};

// A request's run of folder opens and queries, fetched ahead through the provider a connection
// names (see StoreProvider::Prefetch) for as long as the scope lives; the answers not used are
// dropped when it ends, so none is ever served to a later request. An unknown provider fetches
// nothing: the opens report it themselves.
class PrefetchScope {
 public:
  PrefetchScope(const StoreProviders& providers, std::string_view provider_name,
                const std::vector<FolderQuery>& queries);
  ~PrefetchScope();
  PrefetchScope(const PrefetchScope&) = delete;
  PrefetchScope& operator=(const PrefetchScope&) = delete;

 private:
  std::shared_ptr<const StoreProvider> provider_;
};

// Where a site's providers find their stores, as the program is started with.
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
  // Whether a page's CalDAV reports are fetched ahead of its opens and queries (Prefetch), or
  // each asked when its call comes; for measuring what fetching ahead saves.
  bool caldav_prefetch = true;
};

}  // namespace orbitel::data
