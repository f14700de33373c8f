#pragma once
// Bringing calendars of the mirror (CalendarMirror) in step with their CalDAV server. Each
// calendar is asked what changed since its sync token (an RFC 6578 sync-collection REPORT)
// where the server offers it, else its members' etags in the mirror's window are compared with
// the mirror's and the changed ones fetched with a calendar-multiget REPORT. A token the server
// no longer accepts starts that calendar over with a full read. The calendars' requests are
// sent several at once (SendAll), each bounded as the client's are.
//
// Whatever the server answers, the mirror keeps the last good copy of a calendar whose refresh
// failed, with the reason noted (pages then ask the server directly), and the next refresh
// tries again. Safe to run from any thread; two refreshes of one mirror at once only repeat
// each other's work.

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "store/StoreProvider.h"
#include "store/StoreTime.h"

namespace orbitel::data {

struct MirrorRefreshOptions {
  // Requests at once: Radicale, for one, answers a few at once faster than many.
  std::size_t in_flight = 4;
  // The window the mirror holds, around the moment of the refresh.
  int days_back = 365;
  int days_ahead = 730;
  // False compares etags even where the server offers sync-collection.
  bool sync_collection = true;
  // Set (by a server stopping) to end the refresh at once; what was not answered fails.
  const std::atomic<bool>* cancel = nullptr;
  // Calendars brought in step at or after this moment (by another process sharing the mirror,
  // a moment ago) are left as they are and count as refreshed.
  std::optional<UtcSeconds> refreshed_since;
};

struct MirrorRefreshOutcome {
  std::size_t refreshed = 0;
  std::vector<std::pair<std::string, std::string>> failed;  // folder URL, why
};

// Brings the calendars at these folder URLs in step, in the mirror under stores.store_root,
// signed in with stores.credentials.
MirrorRefreshOutcome RefreshMirror(const StoreSettings& stores,
                                   const std::vector<std::string>& folder_urls,
                                   const MirrorRefreshOptions& options, UtcSeconds now);

// RefreshMirror in its two steps: made, it asks the server what changed, writing nothing; Apply
// then writes the answers into the mirror, where a calendar written through Orbitel in between
// is left as the write made it (its answers may predate the write) for the next refresh.
// The settings and options must outlive the object.
class MirrorRefresh {
 public:
  MirrorRefresh(const StoreSettings& stores, const std::vector<std::string>& folder_urls,
                const MirrorRefreshOptions& options, UtcSeconds now);
  ~MirrorRefresh();
  MirrorRefresh(const MirrorRefresh&) = delete;
  MirrorRefresh& operator=(const MirrorRefresh&) = delete;
  // Once only.
  MirrorRefreshOutcome Apply();

 private:
  class Work;
  std::unique_ptr<Work> work_;
};

}  // namespace orbitel::data
