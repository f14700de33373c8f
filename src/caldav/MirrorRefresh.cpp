#include "caldav/MirrorRefresh.h"

#include <map>
#include <memory>
#include <optional>
#include <set>

#include "caldav/CalDavClient.h"
#include "caldav/CalDavXml.h"
#include "caldav/CalendarMirror.h"

namespace orbitel::data {
namespace {

constexpr char kXmlType[] = "application/xml; charset=utf-8";
constexpr UtcSeconds kDay = 86400;
// A sync token only reports changes, so an item the window slides over unchanged would never
// come in: once the window has slid this far since the last full read, the calendar is read
// whole again. Pages asking past the window held are answered by the server.
constexpr UtcSeconds kWindowSlide = 30 * kDay;
// What one round's answers may hold in all (a round is one request per calendar).
constexpr std::size_t kRoundBytes = 256u << 20;
// No page waits for a refresh: a server reading a large calendar afresh may take minutes.
constexpr std::chrono::milliseconds kRefreshRequestTimeout{5 * 60 * 1000};

std::string WithSlash(const std::string& url) {
  return !url.empty() && url.back() == '/' ? url : url + '/';
}

std::string HttpFailure(const HttpRequest& request, long status) {
  return "The calendar store answered HTTP " + std::to_string(status) + " to " + request.method +
         " " + request.url;
}

// One calendar's refresh as it goes along.
struct Calendar {
  std::string url;  // the folder URL with its trailing slash
  std::optional<CalendarMirror::Calendar> known;
  CalendarMirror::Changes changes;
  std::string failure;  // set once the refresh has failed
  std::string token_sent;
};

// A calendar's members from a multistatus: its own entry and entries naming no member are left
// out; a removed member (404) has no text.
std::vector<MirrorItem> MembersOf(const std::vector<DavResource>& resources, std::string& failure,
                                  const std::string& url) {
  std::vector<MirrorItem> items;
  for (const DavResource& resource : resources) {
    const auto name = MemberNameOf(resource.href);
    if (!name) continue;
    if (resource.status == 404) {
      items.push_back(MirrorItem{*name, "", ""});
      continue;
    }
    if (resource.status < 200 || resource.status > 299 || resource.calendar_data.empty()) {
      failure = "The calendar store sent no iCalendar text of the item " + url + *name;
      return {};
    }
    items.push_back(MirrorItem{*name, resource.etag, resource.calendar_data});
  }
  return items;
}

}  // namespace

class MirrorRefresh::Work {
 public:
  Work(const StoreSettings& stores, const MirrorRefreshOptions& options, UtcSeconds now)
      : stores_(stores), options_(options), now_(now) {
    window_start_ = now - options.days_back * kDay;
    window_end_ = now + options.days_ahead * kDay;
  }

  void Ask(const std::vector<std::string>& folder_urls) {
    MirrorRefreshOutcome& outcome = outcome_;
    Result<std::shared_ptr<CalendarMirror>> mirror = CalendarMirror::OpenOrCreate(stores_.store_root);
    if (!mirror.ok()) {
      for (const std::string& url : folder_urls) {
        outcome.failed.emplace_back(url, mirror.status().description());
      }
      return;
    }
    mirror_ = *mirror;
    std::vector<Calendar>& calendars = calendars_;
    // Every calendar is entered first: the answers are matched to them by address.
    calendars.reserve(folder_urls.size());
    for (const std::string& url : folder_urls) {
      Calendar& calendar = calendars.emplace_back();
      calendar.url = WithSlash(url);
      Result<std::optional<CalendarMirror::Calendar>> known = mirror_->Find(calendar.url);
      if (!known.ok()) {
        calendar.failure = known.status().description();
      } else {
        calendar.known = *known;
      }
      const std::optional<CalendarMirror::Calendar>& kept = calendar.known;
      if (options_.refreshed_since && kept && kept->state.usable() &&
          *kept->state.refreshed_at >= *options_.refreshed_since) {
        calendars.pop_back();
        ++outcome.refreshed;
      }
    }
    AskState(calendars);
    Sync(calendars, false);
    Sync(calendars, true);
    CompareEtags(calendars);
  }

  MirrorRefreshOutcome Apply() {
    MirrorRefreshOutcome outcome = std::move(outcome_);
    for (Calendar& calendar : calendars_) {
      if (calendar.failure.empty()) {
        calendar.changes.state.refreshed_at = now_;
        // A write through Orbitel since the refresh began leaves the calendar as the write
        // made it, in step or not as before, for the next refresh to bring in step.
        const std::int64_t writes_seen = calendar.known ? calendar.known->state.writes : 0;
        Result<bool> applied = mirror_->Apply(calendar.url, calendar.changes, writes_seen);
        if (!applied.ok()) calendar.failure = applied.status().description();
      }
      if (calendar.failure.empty()) {
        ++outcome.refreshed;
      } else {
        // Pages ask the server while the reason stands; the items and the token stay, so the
        // next refresh goes on from the last good copy.
        (void)mirror_->RecordFailure(calendar.url, calendar.failure);
        outcome.failed.emplace_back(calendar.url, calendar.failure);
      }
    }
    return outcome;
  }

 private:
  enum class Step { kNone, kSync, kResync, kEtags };

  // The server's answers to one request per calendar that wants one.
  template <typename MakeRequest>
  std::vector<std::pair<Calendar*, Result<HttpResponse>>> Round(std::vector<Calendar*> asking,
                                                                MakeRequest make) {
    std::vector<HttpRequest> requests;
    for (Calendar* calendar : asking) requests.push_back(make(*calendar));
    std::vector<Result<HttpResponse>> answers =
        SendAll(requests, stores_.credentials, options_.in_flight, kRoundBytes,
                kRefreshRequestTimeout, options_.cancel);
    std::vector<std::pair<Calendar*, Result<HttpResponse>>> paired;
    for (std::size_t i = 0; i < asking.size(); ++i) {
      // A failure to answer at all fails the calendar here; a status is the caller's to judge.
      if (!answers[i].ok()) {
        asking[i]->failure = answers[i].status().description();
        continue;
      }
      paired.emplace_back(asking[i], std::move(answers[i]));
    }
    return paired;
  }

  // Whether each folder is a calendar, and whether its sync token moved since the last refresh.
  void AskState(std::vector<Calendar>& calendars) {
    std::vector<Calendar*> asking;
    for (Calendar& calendar : calendars) {
      if (calendar.failure.empty()) asking.push_back(&calendar);
    }
    for (auto& [calendar, answer] : Round(asking, [](const Calendar& c) {
           return HttpRequest{"PROPFIND", c.url, CollectionStateRequest(), kXmlType, {"Depth: 0"}};
         })) {
      if (answer->status != 207) {
        calendar->failure = HttpFailure({"PROPFIND", calendar->url, "", "", {}}, answer->status);
        continue;
      }
      Result<std::vector<DavResource>> resources = ParseMultistatus(answer->body);
      if (!resources.ok()) {
        calendar->failure = resources.status().description();
        continue;
      }
      if (resources->empty() || !resources->front().calendar) {
        calendar->failure = calendar->url + " is not a calendar collection of the calendar store";
        continue;
      }
      const std::optional<std::string>& token = resources->front().sync_token;
      steps_[calendar] = options_.sync_collection && token ? Step::kSync : Step::kEtags;
      if (steps_[calendar] == Step::kSync && calendar->known && calendar->known->state.usable() &&
          !WindowSlid(*calendar) && calendar->known->state.sync_token == *token) {
        // Nothing changed: the calendar is in step as it stands.
        calendar->changes.state = calendar->known->state;
        steps_[calendar] = Step::kNone;
      }
    }
  }

  // The window has slid that far since the calendar was last read whole, or the site's window
  // setting has grown by that much at either end.
  bool WindowSlid(const Calendar& calendar) const {
    const auto& held = calendar.known->state;
    return held.window_start + kWindowSlide < window_start_ || held.window_end + kWindowSlide < window_end_ ||
           window_start_ + kWindowSlide < held.window_start;
  }

  // The sync-collection round; the second goes over the calendars whose token was refused,
  // reading them whole.
  void Sync(std::vector<Calendar>& calendars, bool again) {
    std::vector<Calendar*> asking;
    for (Calendar& calendar : calendars) {
      if (calendar.failure.empty() && steps_[&calendar] == (again ? Step::kResync : Step::kSync)) {
        calendar.token_sent = again || !calendar.known || WindowSlid(calendar)
                                  ? std::string()
                                  : calendar.known->state.sync_token;
        asking.push_back(&calendar);
      }
    }
    for (auto& [calendar, answer] : Round(asking, [](const Calendar& c) {
           return HttpRequest{"REPORT", c.url, SyncCollectionRequest(c.token_sent, true), kXmlType,
                              {"Depth: 0"}};
         })) {
      if (answer->status != 207) {
        // RFC 6578 refuses a token it no longer knows with 403 (valid-sync-token); some
        // servers answer 409 or 400. Either way a full read settles it.
        const bool refused = answer->status == 403 || answer->status == 409 || answer->status == 400;
        if (!calendar->token_sent.empty() && refused) {
          steps_[calendar] = Step::kResync;
        } else {
          calendar->failure = HttpFailure({"REPORT", calendar->url, "", "", {}}, answer->status);
        }
        continue;
      }
      Result<SyncAnswer> sync = ParseSyncAnswer(answer->body);
      if (!sync.ok()) {
        calendar->failure = sync.status().description();
        continue;
      }
      CalendarMirror::Changes& changes = calendar->changes;
      changes.full = calendar->token_sent.empty();
      changes.items = MembersOf(sync->resources, calendar->failure, calendar->url);
      changes.state.sync_token = sync->sync_token;
      if (changes.full) {
        changes.state.window_start = window_start_;
        changes.state.window_end = window_end_;
      } else {
        changes.state.window_start = calendar->known->state.window_start;
        changes.state.window_end = calendar->known->state.window_end;
      }
    }
  }

  // The etags of the window compared with the mirror's, and the changed members fetched.
  void CompareEtags(std::vector<Calendar>& calendars) {
    std::vector<Calendar*> asking;
    for (Calendar& calendar : calendars) {
      if (calendar.failure.empty() && steps_[&calendar] == Step::kEtags) asking.push_back(&calendar);
    }
    std::map<std::string, std::vector<std::string>> wanted;  // hrefs to fetch, by folder URL
    for (auto& [calendar, answer] : Round(asking, [this](const Calendar& c) {
           return HttpRequest{"REPORT", c.url, EtagQueryRequest(window_start_, window_end_),
                              kXmlType, {"Depth: 1"}};
         })) {
      if (answer->status != 207) {
        calendar->failure = HttpFailure({"REPORT", calendar->url, "", "", {}}, answer->status);
        continue;
      }
      Result<std::vector<DavResource>> resources = ParseMultistatus(answer->body);
      Result<std::map<std::string, std::string>> held = mirror_->Etags(calendar->url);
      if (!resources.ok() || !held.ok()) {
        calendar->failure = (!resources.ok() ? resources.status() : held.status()).description();
        continue;
      }
      CalendarMirror::Changes& changes = calendar->changes;
      changes.state.window_start = window_start_;
      changes.state.window_end = window_end_;
      std::set<std::string> present;
      for (const DavResource& resource : *resources) {
        const auto name = MemberNameOf(resource.href);
        if (!name || resource.status < 200 || resource.status > 299) continue;
        present.insert(*name);
        const auto found = held->find(*name);
        if (found == held->end() || resource.etag.empty() || found->second != resource.etag) {
          wanted[calendar->url].push_back(resource.href);
        }
      }
      for (const auto& [name, etag] : *held) {
        if (!present.count(name)) changes.items.push_back(MirrorItem{name, "", ""});
      }
    }
    std::vector<Calendar*> fetching;
    for (Calendar* calendar : asking) {
      if (calendar->failure.empty() && wanted.count(calendar->url)) fetching.push_back(calendar);
    }
    for (auto& [calendar, answer] : Round(fetching, [&wanted](const Calendar& c) {
           return HttpRequest{"REPORT", c.url,
                              MultigetRequest(wanted[c.url]), kXmlType,
                              {"Depth: 1"}};
         })) {
      if (answer->status != 207) {
        calendar->failure = HttpFailure({"REPORT", calendar->url, "", "", {}}, answer->status);
        continue;
      }
      Result<std::vector<DavResource>> resources = ParseMultistatus(answer->body);
      if (!resources.ok()) {
        calendar->failure = resources.status().description();
        continue;
      }
      std::vector<MirrorItem> fetched = MembersOf(*resources, calendar->failure, calendar->url);
      // Every member asked for must come back, or the mirror would miss a change.
      if (calendar->failure.empty() && fetched.size() < wanted[calendar->url].size()) {
        calendar->failure = "The calendar store left members of " + calendar->url +
                            " out of its calendar-multiget answer";
      }
      for (MirrorItem& item : fetched) calendar->changes.items.push_back(std::move(item));
    }
  }

  const StoreSettings& stores_;
  const MirrorRefreshOptions& options_;
  UtcSeconds now_;
  UtcSeconds window_start_ = 0;
  UtcSeconds window_end_ = 0;
  std::shared_ptr<CalendarMirror> mirror_;
  std::vector<Calendar> calendars_;
  MirrorRefreshOutcome outcome_;
  std::map<const Calendar*, Step> steps_;
};

MirrorRefresh::MirrorRefresh(const StoreSettings& stores,
                             const std::vector<std::string>& folder_urls,
                             const MirrorRefreshOptions& options, UtcSeconds now)
    : work_(std::make_unique<Work>(stores, options, now)) {
  work_->Ask(folder_urls);
}

MirrorRefresh::~MirrorRefresh() = default;

MirrorRefreshOutcome MirrorRefresh::Apply() { return work_->Apply(); }

MirrorRefreshOutcome RefreshMirror(const StoreSettings& stores,
                                   const std::vector<std::string>& folder_urls,
                                   const MirrorRefreshOptions& options, UtcSeconds now) {
  return MirrorRefresh(stores, folder_urls, options, now).Apply();
}

}  // namespace orbitel::data
