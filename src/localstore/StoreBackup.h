#pragma once
// Backup and restore of the local store while the server serves it. Each domain's database is
// copied with SQLite's online backup: one read transaction, so the copy is the database as it
// was at one moment, and the server's writers go on meanwhile (the store runs in WAL mode). A
// backup folder is laid out like a store root ("<folder>/<domain>/store.sqlite"), so it can
// also be served or listed as it stands.

#include <functional>
#include <string>

#include "runtime/Status.h"

namespace orbitel::data {

// Told each domain as it is done, with the path written to.
using BackupProgress = std::function<void(const std::string& domain, const std::string& path)>;

// Copies every domain database under store_root into destination, which must be a new or
// empty folder. Each copy is checked (PRAGMA integrity_check) before it takes its final name.
Status BackUpStore(const std::string& store_root, const std::string& destination,
                   const BackupProgress& done);

// Puts every domain database of a backup folder back under store_root, replacing the domain's
// contents in one transaction each, while the server may be serving it. Every database of the
// backup is checked first; when one is damaged or not a store database, nothing is restored.
// Domains of the store that the backup does not hold are left as they are.
Status RestoreStore(const std::string& store_root, const std::string& source,
                    const BackupProgress& done);

}  // namespace orbitel::data
