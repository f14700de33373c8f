#pragma once
// The local calendar store: one SQLite database per mail domain under the store root, folder
// URLs of the form "file://./backofficestorage/<domain>/MBX/<account>/calendar/".

#include <memory>

#include "data/StoreProvider.h"

namespace orbitel::data {

// The provider of the local store, reading its root from StoreConfiguration().
std::shared_ptr<const StoreProvider> MakeLocalStoreProvider();

}  // namespace orbitel::data
