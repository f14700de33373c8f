#include "store/StoreProvider.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {

Status StoreFolder::PutItem(const std::string&, const std::string&) {
  return Status::Error(errors::kCannotOpenFolder, "The folder " + url() + " takes no imports");
}

Result<std::unique_ptr<StoreWrites>> StoreFolder::BeginWrites() {
  return Status::Error(errors::kCannotOpenFolder, "The folder " + url() + " takes no imports");
}

Result<std::shared_ptr<const StoreProvider>> StoreProviders::Find(std::string_view name) const {
  for (const auto& provider : providers_) {
    if (EqualsIgnoringCase(provider->name(), name)) return provider;
  }
  return Status::Error(errors::kProviderNotFound,
                       "Provider cannot be found. It may not be properly installed.");
}

Result<std::shared_ptr<const StoreProvider>> StoreProviders::ForUrl(std::string_view url) const {
  for (const auto& provider : providers_) {
    if (provider->Serves(url)) return provider;
  }
  return Status::Error(errors::kCannotOpenFolder,
                       "No calendar store serves the folder URL " + std::string(url));
}

PrefetchScope::PrefetchScope(const StoreProviders& providers, std::string_view provider_name,
                             const std::vector<FolderQuery>& queries) {
  Result<std::shared_ptr<const StoreProvider>> provider = providers.Find(provider_name);
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

}  // namespace orbitel::data
