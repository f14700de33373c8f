#include "caldav/CalDavStore.h"

#include <chrono>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "caldav/CalDavClient.h"
#include "caldav/CalDavXml.h"
#include "caldav/CalendarMirror.h"
#include "caldav/MirroredFolder.h"
#include "ical/ExpandedSeries.h"
#include "ical/ICalendar.h"
#include "runtime/Conversions.h"
#include "runtime/ErrorNumbers.h"
#include "runtime/TextCoding.h"
#include "store/ItemQuery.h"
#include "store/StoreUrl.h"

namespace orbitel::data {
namespace {

constexpr std::string_view kDisplayName = "DAV:displayname";
constexpr char kCalendarType[] = "text/calendar; charset=utf-8";
constexpr char kXmlType[] = "application/xml; charset=utf-8";
// The server compares floating and all-day times in UTC, this store in the server's local time:
// the range asked for is a day wider on each side, and the expansion here cuts it exactly.
constexpr UtcSeconds kRangeSlack = 86400;
// A UID already taken is replaced by a fresh one; a few tries are plenty for random UIDs.
constexpr int kCreateAttempts = 4;
// Transfers a page's prefetch keeps in flight at once: one, so the server answers the page's
// reports one after another, as it would a plain client's. Radicale, for one, answers several
// at once with its threads contending for one interpreter: four in flight took it three times
// the CPU of the same reports one by one, and the page twice their time (caldav_team_bench).
// One after another on one connection a page still saves the connection set-up between
// people, where the server keeps connections open.
constexpr std::size_t kPrefetchInFlight = 1;
// What a page's prefetched answers may hold in all; past it the rest are asked for one by one,
// each with the client's own cap, as without the prefetch.
constexpr std::size_t kPrefetchBytes = 64u << 20;

// The answers prefetched for this thread's coming requests, by request; each is used once.
thread_local std::multimap<std::string, HttpResponse> prefetched;

std::string PrefetchKey(const HttpRequest& request) {
  std::string key = request.method + ' ' + request.url + '\n';
  for (const std::string& header : request.headers) key += header + '\n';
  return key + '\n' + request.body;
}

// The prefetched answer to exactly this request, if there is one; else the server's answer now.
Result<HttpResponse> SendOrTake(CalDavClient& client, const HttpRequest& request) {
  if (!prefetched.empty()) {
    const auto found = prefetched.find(PrefetchKey(request));
    if (found != prefetched.end()) {
      HttpResponse answer = std::move(found->second);
      prefetched.erase(found);
      return answer;
    }
  }
  return client.Send(request);
}

Status CannotOpen(const std::string& description) {
  return Status::Error(errors::kCannotOpenFolder, description);
}

std::string WithSlash(const std::string& url) {
  return !url.empty() && url.back() == '/' ? url : url + '/';
}

bool IsHttpUrl(std::string_view url) {
  const std::string lower = ToLower(url.substr(0, 8));
  return lower.rfind("http://", 0) == 0 || lower.rfind("https://", 0) == 0;
}

bool IsSuccess(long status) { return status >= 200 && status <= 299; }

// Folders a PROPFIND found to be calendar collections with the store account's credentials,
// and when: a calendar stays one, so for a while its opens skip the PROPFIND and a page asks one
// request a person. A calendar removed meanwhile fails its period query instead, with the same
// message; other credentials are asked afresh, so a refused account still fails its open.
constexpr auto kCalendarKnownFor = std::chrono::seconds(60);
std::mutex known_mutex;
std::map<std::string, std::chrono::steady_clock::time_point> known_calendars;

std::string KnownKey(const std::string& url, const std::optional<StoreCredentials>& account) {
  return account ? url + '\n' + account->user + '\n' + account->password : url;
}

bool KnownCalendar(const std::string& url, const std::optional<StoreCredentials>& account) {
  const std::string key = KnownKey(url, account);
  std::lock_guard lock(known_mutex);
  const auto found = known_calendars.find(key);
  return found != known_calendars.end() && std::chrono::steady_clock::now() - found->second < kCalendarKnownFor;
}

void NoteCalendar(const std::string& url, const std::optional<StoreCredentials>& account) {
  const std::string key = KnownKey(url, account);
  std::lock_guard lock(known_mutex);
  if (known_calendars.size() > 100000) known_calendars.clear();  // bounded, whatever pages ask
  known_calendars[key] = std::chrono::steady_clock::now();
}

// The PROPFIND that tells whether a folder URL is a calendar collection.
HttpRequest FolderRequest(const std::string& url) {
  return HttpRequest{"PROPFIND", WithSlash(url), ResourceTypeRequest(), kXmlType, {"Depth: 0"}};
}

// The calendar-query REPORT for the events of the folder (base: its URL with the trailing slash)
// that overlap the window, widened by the slack.
HttpRequest PeriodRequest(const std::string& base, const TimeWindow& window) {
  std::optional<UtcSeconds> asked_start;
  std::optional<UtcSeconds> asked_end;
  if (window.start_from) asked_start = UtcOfDate(*window.start_from) - kRangeSlack;
  if (window.end_until) asked_end = UtcOfDate(*window.end_until) + kRangeSlack;
  return HttpRequest{
      "REPORT", base, CalendarQueryRequest(asked_start, asked_end), kXmlType, {"Depth: 1"}};
}

// The failure an unexpected HTTP status stands for, in the store's terms.
Status HttpFailure(const HttpRequest& request, long status) {
  switch (status) {
    case 401:
      return CannotOpen("The calendar store refused the store account's credentials for " +
                        request.url + " (HTTP 401)");
    case 403:
      return CannotOpen("The store account may not access " + request.url + " (HTTP 403)");
    case 404:
      return CannotOpen(request.url + " does not exist in the calendar store (HTTP 404)");
    default:
      return CannotOpen("The calendar store answered HTTP " + std::to_string(status) + " to " +
                        request.method + " " + request.url);
  }
}

// A file name as one URL path segment: everything but the unreserved characters and the
// sub-delimiters RFC 3986 allows in a segment is percent-encoded.
std::string EncodeSegment(std::string_view name) { return PercentEncode(name, "-._~!$&'()*+,;=:@"); }

// The name a WHERE asks for when it is "DAV:displayname" = 'name', alone or AND-ed at its top.
std::optional<std::string> DisplayNameOf(const Expression* where) {
  if (where == nullptr) return std::nullopt;
  if (where->kind == Expression::Kind::kAnd) {
    for (const auto& child : where->children) {
      if (auto name = DisplayNameOf(child.get())) return name;
    }
    return std::nullopt;
  }
  if (where->kind != Expression::Kind::kCompare || where->comparison != Comparison::kEqual) {
    return std::nullopt;
  }
  const auto named = [](const Expression::Operand& field, const Expression::Operand& literal)
      -> std::optional<std::string> {
    if (field.kind != Expression::Operand::Kind::kField ||
        !EqualsIgnoringCase(field.field, kDisplayName) ||
        literal.kind != Expression::Operand::Kind::kLiteral || !literal.literal.IsText()) {
      return std::nullopt;
    }
    return *literal.literal.AsText();
  };
  if (auto name = named(where->left, where->right)) return name;
  return named(where->right, where->left);
}

class CalDavFolder final : public StoreFolder {
 public:
  CalDavFolder(std::string url, std::unique_ptr<CalDavClient> client)
      : url_(std::move(url)), base_(WithSlash(url_)), client_(std::move(client)) {}

  const std::string& url() const override { return url_; }

  Status Query(const SelectStatement& statement, Recordset& rows) override {
    if (!EqualsIgnoringCase(WithSlash(statement.folder_url), base_)) {
      return CannotOpen("The query's scope " + statement.folder_url + " is not the open folder " +
                        url_);
    }
    std::vector<StoreItem> candidates;
    Status gathered = Status::Ok();
    if (const auto name = DisplayNameOf(statement.where.get())) {
      gathered = ItemNamed(*name, candidates);
    } else {
      gathered = ItemsIn(WindowOf(statement.where.get()), candidates);
    }
    if (!gathered.ok()) return gathered;
    return RunItemQuery(statement, std::move(candidates), rows);
  }

  Status DeleteItem(const std::string& href) override {
    const auto name = ItemNameIn(base_, href);
    if (!name) return NotHere(href);
    HttpRequest request{"DELETE", ItemUrl(*name), "", "", {}};
    Result<HttpResponse> response = client_->Send(request);
    if (!response.ok()) return response.status();
    if (response->status == 404) return CannotOpen("The item " + href + " does not exist");
    if (!IsSuccess(response->status)) return HttpFailure(request, response->status);
    return Status::Ok();
  }

  Result<ItemSource> ReadItem(const std::string& href) override {
    const auto name = ItemNameIn(base_, href);
    if (!name) return NotHere(href);
    HttpRequest request{"GET", ItemUrl(*name), "", "", {}};
    Result<HttpResponse> response = client_->Send(request);
    if (!response.ok()) return response.status();
    if (response->status == 404) return CannotOpen("The item " + href + " does not exist");
    if (response->status != 200) return HttpFailure(request, response->status);
    // Without a tag a later save could not be made conditional, and would overwrite blindly.
    if (response->etag.empty()) {
      return CannotOpen("The calendar store sent the item " + href + " without an ETag");
    }
    return ItemSource{base_ + *name, std::move(response->body), std::move(response->etag)};
  }

  Result<std::string> CreateItem(const std::string& ics) override {
    Result<CalendarItem> item = SingleItem(ics);
    if (!item.ok()) return item.status();
    std::string uid = item->uid;
    std::string text = item->ics;
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
      const std::string name = ItemNameOf(uid);
      HttpRequest request{"PUT", ItemUrl(name), text, kCalendarType, {"If-None-Match: *"}};
      Result<HttpResponse> response = client_->Send(request);
      if (!response.ok()) return response.status();
      if (IsSuccess(response->status)) return base_ + name;
      // 412: the name is taken; 409: the server already holds that UID elsewhere. Either way
      // the item gets a fresh UID rather than overwriting someone's item.
      if (response->status != 412 && response->status != 409) {
        return HttpFailure(request, response->status);
      }
      uid = NewUid();
      Result<std::string> renamed = WithUid(text, uid);
      if (!renamed.ok()) return renamed.status();
      text = std::move(renamed).value();
    }
    return CannotOpen("The calendar store refused every name offered for a new item in " + url_);
  }

  Status ReplaceItem(const std::string& href, const std::string& ics,
                     const std::string& etag) override {
    const auto name = ItemNameIn(base_, href);
    if (!name) return NotHere(href);
    // Without a tag the write could not be conditional, and would overwrite blindly.
    if (etag.empty()) return CannotOpen("The item " + href + " was not opened with a version tag");
    Result<CalendarItem> item = SingleItem(ics);
    if (!item.ok()) return item.status();
    HttpRequest request{"PUT", ItemUrl(*name), item->ics, kCalendarType, {"If-Match: " + etag}};
    Result<HttpResponse> response = client_->Send(request);
    if (!response.ok()) return response.status();
    if (IsSuccess(response->status)) return Status::Ok();
    if (response->status == 404) return CannotOpen("The item " + href + " does not exist");
    if (response->status != 412) return HttpFailure(request, response->status);
    // A failed condition is a change or a removal; they are told apart as the local store does.
    HttpRequest probe{"GET", request.url, "", "", {}};
    Result<HttpResponse> current = client_->Send(probe);
    if (current.ok() && current->status == 404) {
      return CannotOpen("The item " + href + " does not exist");
    }
    return Status::Error(errors::kItemChanged, "The item " + *name +
                                           " was changed by someone else since it was opened; "
                                           "open it again to see the changes");
  }

 private:
  std::string ItemUrl(const std::string& name) const { return base_ + EncodeSegment(name); }

  Status NotHere(const std::string& href) const {
    return CannotOpen("The item " + href + " is not in the folder " + url_);
  }

  static Result<CalendarItem> SingleItem(const std::string& ics) {
    Result<std::vector<CalendarItem>> parsed = ParseCalendar(ics);
    if (!parsed.ok()) return parsed.status();
    if (parsed->size() != 1) {
      return Status::Error(errors::kSyntaxError, "An item holds the events of exactly one UID");
    }
    return std::move(parsed->front());
  }

  // The occurrences of a resource's items inside [from, until], named after the resource.
  Status AddOccurrences(const std::string& name, const std::string& text, UtcSeconds from,
                        UtcSeconds until, std::vector<StoreItem>& out) const {
    Result<std::vector<StoreItem>> occurrences = ExpandCalendarText(text, from, until);
    if (!occurrences.ok()) {
      return CannotOpen("The calendar store sent the item " + base_ + name +
                        ", which is not iCalendar: " + occurrences.status().description());
    }
    for (StoreItem& occurrence : occurrences.value()) {
      occurrence.displayname = name;
      occurrence.href = base_ + name;
      out.push_back(std::move(occurrence));
    }
    return Status::Ok();
  }

  // The one item of that file name, if there is one, with all its occurrences.
  Status ItemNamed(const std::string& name, std::vector<StoreItem>& out) {
    HttpRequest request{"GET", ItemUrl(name), "", "", {}};
    Result<HttpResponse> response = client_->Send(request);
    if (!response.ok()) return response.status();
    if (response->status == 404) return Status::Ok();
    if (response->status != 200) return HttpFailure(request, response->status);
    return AddOccurrences(name, response->body, std::numeric_limits<UtcSeconds>::min(),
                          std::numeric_limits<UtcSeconds>::max(), out);
  }

  // The items overlapping the window, occurrences expanded; every item without a window.
  Status ItemsIn(const TimeWindow& window, std::vector<StoreItem>& out) {
    std::optional<UtcSeconds> start;
    std::optional<UtcSeconds> end;
    if (window.start_from) start = UtcOfDate(*window.start_from);
    if (window.end_until) end = UtcOfDate(*window.end_until);
    const HttpRequest request = PeriodRequest(base_, window);
    Result<HttpResponse> response = SendOrTake(*client_, request);
    if (!response.ok()) return response.status();
    if (response->status != 207) return HttpFailure(request, response->status);
    Result<std::vector<DavResource>> resources = ParseMultistatus(response->body);
    if (!resources.ok()) return resources.status();
    const UtcSeconds from = start.value_or(std::numeric_limits<UtcSeconds>::min());
    const UtcSeconds until = end.value_or(std::numeric_limits<UtcSeconds>::max());
    for (const DavResource& resource : *resources) {
      const auto name = MemberNameOf(resource.href);
      if (!name || !IsSuccess(resource.status)) continue;
      if (Status added = AddOccurrences(*name, resource.calendar_data, from, until, out);
          !added.ok()) {
        return added;
      }
    }
    return Status::Ok();
  }

  std::string url_;
  std::string base_;  // the folder URL with its trailing slash: hrefs are base_ + file name
  std::unique_ptr<CalDavClient> client_;
};

// The site's mirror, and the calendar in it when its last refresh brought it in step.
struct Mirrored {
  std::shared_ptr<CalendarMirror> mirror;
  std::optional<CalendarMirror::Calendar> in_step;
};

// The calendars a page found in step while fetching ahead, by folder URL, for its opens to take
// rather than look up again; dropped with the prefetched answers.
thread_local std::map<std::string, Mirrored> mirrored_ahead;
// The calendars a page knew for calendars while fetching ahead: their opens skip the PROPFIND,
// once each, as they would take a prefetched answer.
thread_local std::set<std::string> known_ahead;

// nullopt when the stores keep no mirror, or it cannot be read or is not made yet: the server is
// asked then, as without a mirror. A calendar the mirror cannot be read for is not in step.
std::optional<Mirrored> MirrorOf(const StoreSettings& stores, const std::string& url) {
  if (!stores.caldav_mirror) return std::nullopt;
  Result<std::shared_ptr<CalendarMirror>> mirror = CalendarMirror::Open(stores.store_root);
  if (!mirror.ok() || !*mirror) return std::nullopt;
  Mirrored mirrored{*mirror, std::nullopt};
  Result<std::optional<CalendarMirror::Calendar>> calendar = (*mirror)->Find(url);
  if (calendar.ok() && *calendar && (*calendar)->state.usable()) mirrored.in_step = **calendar;
  return mirrored;
}

class CalDavProvider final : public StoreProvider {
 public:
  explicit CalDavProvider(StoreSettings settings) : settings_(std::move(settings)) {}

  std::string_view name() const override { return kCalDavProviderName; }
  bool Serves(std::string_view url) const override { return IsHttpUrl(url); }

  Result<std::unique_ptr<StoreFolder>> OpenFolder(const std::string& url) const override {
    if (!IsHttpUrl(url)) {
      return CannotOpen("The URL " + url +
                        " is not a CalDAV calendar (http(s)://<server>/<path>/<account>/calendar/)");
    }
    auto client = std::make_unique<CalDavClient>(settings_.credentials);
    std::optional<Mirrored> mirrored;
    if (const auto ahead = mirrored_ahead.find(url); ahead != mirrored_ahead.end()) {
      mirrored = std::move(ahead->second);
      mirrored_ahead.erase(ahead);
    } else {
      mirrored = MirrorOf(settings_, url);
    }
    // Its last refresh found the folder a calendar collection: no need to ask again.
    if (mirrored && mirrored->in_step) {
      return MakeMirroredFolder(std::move(mirrored->mirror), std::move(mirrored->in_step),
                                std::make_unique<CalDavFolder>(url, std::move(client)));
    }
    Result<std::unique_ptr<StoreFolder>> folder = ServerFolder(url, std::move(client));
    // Not in step, it is read from the server; its writes are still counted in the mirror.
    if (!folder.ok() || !mirrored) return folder;
    return MakeMirroredFolder(std::move(mirrored->mirror), std::nullopt, std::move(folder).value());
  }

 private:
  // The folder on the server, once known to be a calendar collection.
  Result<std::unique_ptr<StoreFolder>> ServerFolder(const std::string& url,
                                                    std::unique_ptr<CalDavClient> client) const {
    if (known_ahead.erase(url) > 0 || KnownCalendar(url, settings_.credentials)) {
      return std::unique_ptr<StoreFolder>(std::make_unique<CalDavFolder>(url, std::move(client)));
    }
    const HttpRequest request = FolderRequest(url);
    Result<HttpResponse> response = SendOrTake(*client, request);
    if (!response.ok()) return response.status();
    if (response->status != 207) return HttpFailure(request, response->status);
    Result<std::vector<DavResource>> resources = ParseMultistatus(response->body);
    if (!resources.ok()) return resources.status();
    if (resources->empty() || !resources->front().calendar) {
      return CannotOpen(url + " is not a calendar collection of the calendar store");
    }
    NoteCalendar(url, settings_.credentials);
    return std::unique_ptr<StoreFolder>(std::make_unique<CalDavFolder>(url, std::move(client)));
  }

 public:
  Status ProbeService(const std::string& url_base) const override {
    if (!IsHttpUrl(url_base)) return CannotOpen("The URL " + url_base + " is not an http(s) URL");
    CalDavClient client(settings_.credentials);
    HttpRequest request{"OPTIONS", url_base, "", "", {}};
    Result<HttpResponse> response = client.Send(request);
    if (!response.ok()) return response.status();
    if (ToLower(response->dav).find("calendar-access") != std::string::npos) return Status::Ok();
    if (!IsSuccess(response->status)) return HttpFailure(request, response->status);
    return CannotOpen("The server at " + url_base + " does not offer CalDAV (DAV: " +
                      (response->dav.empty() ? std::string("none") : response->dav) + ")");
  }

  // Fetches the folder opens and period queries at once; only the answers their calls would
  // accept (207 multistatus) are kept, so anything else is asked again when the call comes and
  // fails, or not, exactly as it would have without the prefetch.
  void Prefetch(const std::vector<FolderQuery>& queries) const override {
    prefetched.clear();
    mirrored_ahead.clear();
    known_ahead.clear();
    if (!settings_.caldav_prefetch) return;
    std::vector<HttpRequest> requests;
    for (const FolderQuery& query : queries) {
      if (!IsHttpUrl(query.folder_url)) continue;
      // A mirrored calendar's period query is answered from the mirror.
      if (auto mirrored = MirrorOf(settings_, query.folder_url); mirrored && mirrored->in_step) {
        mirrored_ahead.emplace(query.folder_url, std::move(*mirrored));
        continue;
      }
      if (KnownCalendar(query.folder_url, settings_.credentials)) {
        known_ahead.insert(query.folder_url);
      } else {
        requests.push_back(FolderRequest(query.folder_url));
      }
      // Only a period query is worth fetching ahead; a statement the folder would refuse or
      // read otherwise is left to its call.
      Result<SelectStatement> statement = ParseStatement(query.statement);
      if (!statement.ok() || DisplayNameOf(statement->where.get()) ||
          !EqualsIgnoringCase(WithSlash(statement->folder_url), WithSlash(query.folder_url))) {
        continue;
      }
      requests.push_back(PeriodRequest(WithSlash(query.folder_url),
                                       WindowOf(statement->where.get())));
    }
    std::vector<Result<HttpResponse>> answers =
        SendAll(requests, settings_.credentials, kPrefetchInFlight, kPrefetchBytes);
    for (std::size_t i = 0; i < requests.size(); ++i) {
      if (!answers[i].ok() || answers[i]->status != 207) continue;
      prefetched.emplace(PrefetchKey(requests[i]), std::move(answers[i]).value());
    }
  }

  void DropPrefetched() const override {
    prefetched.clear();
    mirrored_ahead.clear();
    known_ahead.clear();
  }

 private:
  StoreSettings settings_;
};

}  // namespace

std::shared_ptr<const StoreProvider> MakeCalDavProvider(StoreSettings settings) {
  return std::make_shared<CalDavProvider>(std::move(settings));
}

}  // namespace orbitel::data
