#include "localstore/LocalStore.h"

#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "ical/ICalendar.h"
#include "localstore/LocalStoreDatabase.h"
#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"
#include "store/FolderStatements.h"
#include "store/ItemQuery.h"
#include "store/StoreUrl.h"

namespace orbitel::data {
namespace {

Status CannotOpen(const std::string& description) {
  return Status::Error(errors::kCannotOpenFolder, description);
}

std::string WithSlash(const std::string& url) {
  return !url.empty() && url.back() == '/' ? url : url + '/';
}

// The address of a folder URL of the local store under root, which must be configured.
Result<FolderAddress> AddressOf(const std::string& url, const std::string& root) {
  auto address = ParseFolderUrl(url);
  if (!address) {
    return CannotOpen("The URL " + url +
                      " is not a local store folder "
                      "(file://./backofficestorage/<domain>/MBX/<account>/calendar/)");
  }
  if (root.empty()) {
    return CannotOpen("The local store has no root folder configured");
  }
  return std::move(*address);
}

// The calendar folder of the address's mailbox in its domain's database.
Result<LocalStoreDatabase::FolderId> FolderOf(LocalStoreDatabase& database,
                                              const FolderAddress& address) {
  Result<std::optional<LocalStoreDatabase::FolderId>> folder = database.FindFolder(address.account);
  if (!folder.ok()) return folder.status();
  if (!*folder) {
    return CannotOpen("The domain " + address.domain + " has no mailbox " + address.account);
  }
  return **folder;
}

// A statement run on an open folder: the candidates of the period its WHERE confines items to
// (less what the reader does not need), kept and ordered by the statement prepared (`prepare`,
// called only once they are read). A scope naming another folder is refused. `candidates` is
// room to gather them in, handed in so a run of folders reuses it.
template <typename Prepare>
Status QueryFolder(LocalStoreDatabase& database, LocalStoreDatabase::FolderId id,
                   const FolderAddress& address, const std::string& url,
                   const SelectStatement& statement, const Prepare& prepare, const ReadNeeds& reader,
                   std::vector<StoreItem>& candidates, Recordset& rows) {
  const auto scope = ParseFolderUrl(statement.folder_url);
  if (!scope || scope->domain != address.domain ||
      ToLower(scope->account) != ToLower(address.account)) {
    return CannotOpen("The query's scope " + statement.folder_url + " is not the open folder " + url);
  }
  const TimeWindow window = WindowOf(statement.where.get());
  const UtcSeconds from = window.start_from ? UtcOfDate(*window.start_from)
                                            : std::numeric_limits<UtcSeconds>::min();
  const UtcSeconds until = window.end_until ? UtcOfDate(*window.end_until)
                                            : std::numeric_limits<UtcSeconds>::max();
  candidates.clear();
  // A statement that filters or sorts by the items' names needs them whatever the reader reads.
  ReadNeeds needs = reader;
  needs.names = needs.names || StatementFiltersOrSortsByName(statement);
  if (Status read = database.Candidates(id, from, until, WithSlash(url), candidates,
                                        StatementReadsDescription(statement), needs);
      !read.ok()) {
    return read;
  }
  const auto& prepared = prepare();
  if (!prepared.ok()) return prepared.status();
  return prepared->Run(std::move(candidates), rows);
}

class LocalStoreFolder final : public StoreFolder {
 public:
  LocalStoreFolder(std::string url, FolderAddress address,
                   std::shared_ptr<LocalStoreDatabase> database, LocalStoreDatabase::FolderId id)
      : url_(std::move(url)),
        base_(WithSlash(url_)),
        address_(std::move(address)),
        database_(std::move(database)),
        id_(id) {}

  const std::string& url() const override { return url_; }

  Status Query(const SelectStatement& statement, Recordset& rows) override {
    std::vector<StoreItem> candidates;
    return QueryFolder(*database_, id_, address_, url_, statement,
                       [&statement] { return PreparedItemQuery::Prepare(statement); }, {},
                       candidates, rows);
  }

  Status DeleteItem(const std::string& href) override {
    const auto name = ItemNameIn(base_, href);
    if (!name) return NotHere(href);
    Result<bool> removed = database_->Remove(id_, *name);
    if (!removed.ok()) return removed.status();
    if (!*removed) return CannotOpen("The item " + href + " does not exist");
    return Status::Ok();
  }

  Result<ItemSource> ReadItem(const std::string& href) override {
    const auto name = ItemNameIn(base_, href);
    if (!name) return NotHere(href);
    Result<std::optional<ItemSource>> found = database_->Read(id_, *name);
    if (!found.ok()) return found.status();
    if (!*found) return CannotOpen("The item " + href + " does not exist");
    ItemSource source = std::move(**found);
    source.href = base_ + *name;
    return source;
  }

  Result<std::string> CreateItem(const std::string& ics) override {
    Result<std::vector<CalendarItem>> parsed = ParseCalendar(ics);
    if (!parsed.ok()) return parsed.status();
    if (parsed->size() != 1) {
      return Status::Error(errors::kSyntaxError, "An item holds the events of exactly one UID");
    }
    std::string uid = parsed->front().uid;
    std::string text = parsed->front().ics;
    // The store names items after their UID; a UID already taken gets a fresh one rather than
    // overwriting someone's item.
    while (database_->Exists(id_, ItemNameOf(uid))) {
      uid = NewUid();
      Result<std::string> renamed = WithUid(text, uid);
      if (!renamed.ok()) return renamed.status();
      text = std::move(renamed).value();
    }
    const std::string name = ItemNameOf(uid);
    Result<std::string> tag = database_->Insert(id_, name, text);
    if (!tag.ok()) return tag.status();
    return base_ + name;
  }

  Status PutItem(const std::string& uid, const std::string& ics) override {
    return database_->Put(id_, ItemNameOf(uid), ics).status();
  }

  Result<std::unique_ptr<StoreWrites>> BeginWrites() override { return database_->BeginWrites(); }

  Status ReplaceItem(const std::string& href, const std::string& ics,
                     const std::string& etag) override {
    const auto name = ItemNameIn(base_, href);
    if (!name) return NotHere(href);
    Result<std::vector<CalendarItem>> parsed = ParseCalendar(ics);
    if (!parsed.ok()) return parsed.status();
    if (parsed->size() != 1) {
      return Status::Error(errors::kSyntaxError, "An item holds the events of exactly one UID");
    }
    Result<std::string> tag = database_->Replace(id_, *name, parsed->front().ics, etag);
    return tag.ok() ? Status::Ok() : tag.status();
  }

 private:
  Status NotHere(const std::string& href) const {
    return CannotOpen("The item " + href + " is not in the folder " + url_);
  }

  std::string url_;
  std::string base_;  // the folder URL with its trailing slash: hrefs are base_ + file name
  FolderAddress address_;
  std::shared_ptr<LocalStoreDatabase> database_;
  LocalStoreDatabase::FolderId id_;
};

class LocalStoreProvider final : public StoreProvider {
 public:
  explicit LocalStoreProvider(std::string root) : root_(std::move(root)) {}

  std::string_view name() const override { return kLocalStoreProviderName; }

  bool Serves(std::string_view url) const override {
    return url.size() >= kUrlPrefix.size() &&
           EqualsIgnoringCase(url.substr(0, kUrlPrefix.size()), kUrlPrefix);
  }

  Status ProbeService(const std::string& url_base) const override {
    const auto address = ParseFolderUrl(url_base + "probe/calendar/");
    if (!address) return CannotOpen("The URL " + url_base + " is not a local store's mailbox root");
    if (root_.empty()) return CannotOpen("The local store has no root folder configured");
    return LocalStoreDatabase::Open(root_, address->domain).status();
  }

  Result<std::unique_ptr<StoreFolder>> OpenFolder(const std::string& url) const override {
    Result<FolderAddress> address = AddressOf(url, root_);
    if (!address.ok()) return address.status();
    Result<std::shared_ptr<LocalStoreDatabase>> database =
        LocalStoreDatabase::Open(root_, address->domain);
    if (!database.ok()) return database.status();
    Result<LocalStoreDatabase::FolderId> folder = FolderOf(**database, *address);
    if (!folder.ok()) return folder.status();
    return std::unique_ptr<StoreFolder>(
        std::make_unique<LocalStoreFolder>(url, *address, *database, *folder));
  }

  // Each run of folders of one domain is read in one transaction of its database, opened once;
  // statements of one shape are parsed and prepared once.
  void ReadFolders(const std::vector<FolderQuery>& queries, const ReadNeeds& needs,
                   const FolderAnswers& answer) const override {
    struct Domain {
      Domain(const std::string& root, const std::string& domain)
          : name(domain), database(LocalStoreDatabase::Open(root, domain)) {
        if (database.ok()) reading = std::make_unique<LocalStoreDatabase::Reading>(**database);
      }
      std::string name;
      Result<std::shared_ptr<LocalStoreDatabase>> database;
      std::unique_ptr<LocalStoreDatabase::Reading> reading;  // ends before the database goes
    };
    std::unique_ptr<Domain> domain;
    FolderStatements statements;
    std::optional<Result<PreparedItemQuery>> prepared;
    std::vector<StoreItem> candidates;
    for (std::size_t i = 0; i < queries.size(); ++i) {
      const FolderQuery& query = queries[i];
      FolderAnswer one;
      const Result<FolderAddress> address = AddressOf(query.folder_url, root_);
      Result<LocalStoreDatabase::FolderId> folder = address.status();
      if (address.ok()) {
        if (!domain || domain->name != address->domain) {
          domain.reset();  // the last domain's read ends first
          domain = std::make_unique<Domain>(root_, address->domain);
        }
        if (domain->database.ok()) {
          folder = FolderOf(**domain->database, *address);
        } else {
          folder = domain->database.status();
        }
      }
      if (!folder.ok()) {
        one.opened = folder.status();
        answer(i, one);
        continue;
      }
      bool same_shape = false;
      Result<const SelectStatement*> statement = statements.Parse(query, same_shape);
      if (!statement.ok()) {
        one.queried = statement.status();
        answer(i, one);
        continue;
      }
      if (!same_shape) prepared.reset();
      const auto prepare = [&]() -> const Result<PreparedItemQuery>& {
        if (!prepared) prepared.emplace(PreparedItemQuery::Prepare(**statement));
        return *prepared;
      };
      one.queried = QueryFolder(**domain->database, *folder, *address, query.folder_url,
                                **statement, prepare, needs, candidates, one.rows);
      answer(i, one);
    }
  }

 private:
  static constexpr std::string_view kUrlPrefix = "file://./backofficestorage/";
  std::string root_;
};

}  // namespace

std::shared_ptr<const StoreProvider> MakeLocalStoreProvider(std::string store_root) {
  return std::make_shared<LocalStoreProvider>(std::move(store_root));
}

}  // namespace orbitel::data
