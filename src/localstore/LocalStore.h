#pragma once
// The local calendar store: one SQLite database per mail domain under the store root, folder
// URLs of the form "file://./backofficestorage/<domain>/MBX/<account>/calendar/".

#include <memory>
#include <string>
#include <string_view>

#include "store/StoreProvider.h"

namespace orbitel::data {

inline constexpr std::string_view kLocalStoreProviderName = "ExOLEDB.DataSource";

// The provider of the local store under store_root; stateless apart from the per-thread
// connections, so one instance serves every request thread.
std::shared_ptr<const StoreProvider> MakeLocalStoreProvider(std::string store_root);

}  // namespace orbitel::data
