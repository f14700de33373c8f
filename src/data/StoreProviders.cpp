#include "data/StoreProvider.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "data/CalDavStore.h"
#include "data/LocalStore.h"
#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

constexpr std::string_view kLocalStoreUrlPrefix = "file://./backofficestorage/";

Status CannotOpenFolder(std::string message) {
  return Status::Error(errors::kCannotOpenFolder, std::move(message));
}

bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && ToLower(text.substr(0, prefix.size())) == prefix;
}

StoreSettings& Settings() {
  static StoreSettings settings;
  return settings;
}

// The stores of the site the calling thread is answering for, when one server holds several.
thread_local const StoreSettings* bound_settings = nullptr;

}  // namespace

// Written once at start-up, before any request thread runs, and only read afterwards.
void ConfigureStores(StoreSettings settings) { Settings() = std::move(settings); }

const StoreSettings& StoreConfiguration() { return bound_settings ? *bound_settings : Settings(); }

UsingStores::UsingStores(const StoreSettings& settings) : previous_(bound_settings) { bound_settings = &settings; }

UsingStores::~UsingStores() { bound_settings = previous_; }

Result<std::shared_ptr<const StoreProvider>> FindProvider(std::string_view name) {
  const std::string provider = ToLower(name);
  if (provider == "exoledb.datasource") return MakeLocalStoreProvider();
  if (provider == "msdaipp.dso") return MakeCalDavProvider();
  return Status::Error(errors::kProviderNotFound,
                       "Provider cannot be found. It may not be properly installed.");
}

PrefetchScope::PrefetchScope(std::string_view provider_name,
                             const std::vector<FolderQuery>& queries) {
  Result<std::shared_ptr<const StoreProvider>> provider = FindProvider(provider_name);
  if (!provider.ok()) return;
  provider_ = std::move(provider).value();
  provider_->Prefetch(queries);
}

PrefetchScope::~PrefetchScope() {
  if (provider_) provider_->DropPrefetched();
}

void StoreProvider::ReadFolders(const std::vector<FolderQuery>& queries, const ReadNeeds&,
                                const FolderAnswers& answer) const {
  Prefetch(queries);
  // The answers fetched ahead and not used never outlive the run, whatever a caller throws.
  struct Drop {
    const StoreProvider& provider;
    ~Drop() { provider.DropPrefetched(); }
  } drop{*this};
  for (std::size_t i = 0; i < queries.size(); ++i) {
    FolderAnswer one;
    Result<std::unique_ptr<StoreFolder>> folder = OpenFolder(queries[i].folder_url);
    if (!folder.ok()) {
      one.opened = folder.status();
    } else if (Result<SelectStatement> statement = ParseStatement(queries[i].statement); !statement.ok()) {
      one.queried = statement.status();
    } else {
      Recordset rows;
      one.queried = (*folder)->Query(*statement, rows);
      if (one.queried.ok()) one.rows = std::move(rows);
    }
    answer(i, one);
  }
}

Result<std::shared_ptr<const StoreProvider>> ProviderForUrl(std::string_view url) {
  if (StartsWithIgnoringCase(url, kLocalStoreUrlPrefix)) return MakeLocalStoreProvider();
  if (StartsWithIgnoringCase(url, "http://") || StartsWithIgnoringCase(url, "https://")) {
    return MakeCalDavProvider();
  }
  return CannotOpenFolder("No calendar store serves the folder URL " + std::string(url));
}

}  // namespace orbitel::data
