#include "caldav/MirroredFolder.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "runtime/Conversions.h"
#include "store/ItemQuery.h"
#include "store/StoreUrl.h"

namespace orbitel::data {
namespace {

thread_local std::optional<UtcSeconds> oldest_read;

class MirroredFolder final : public StoreFolder {
 public:
  MirroredFolder(std::shared_ptr<CalendarMirror> mirror, CalendarMirror::Calendar calendar,
                 std::unique_ptr<StoreFolder> server)
      : mirror_(std::move(mirror)),
        calendar_(std::move(calendar)),
        server_(std::move(server)),
        base_(server_->url().empty() || server_->url().back() != '/' ? server_->url() + '/'
                                                                     : server_->url()) {
    const UtcSeconds at = calendar_.state.refreshed_at.value_or(0);
    oldest_read = oldest_read ? std::min(*oldest_read, at) : at;
  }

  const std::string& url() const override { return server_->url(); }

  Status Query(const SelectStatement& statement, Recordset& rows) override {
    // Only a period the mirror holds whole; anything else (a folder named otherwise, one item
    // by name, an open or a wider period) is the server's, as it always was.
    const TimeWindow window = WindowOf(statement.where.get());
    const std::string scope = statement.folder_url.empty() || statement.folder_url.back() == '/'
                                  ? statement.folder_url
                                  : statement.folder_url + '/';
    if (!window.start_from || !window.end_until || !EqualsIgnoringCase(scope, base_)) {
      return server_->Query(statement, rows);
    }
    const UtcSeconds from = UtcOfDate(*window.start_from);
    const UtcSeconds until = UtcOfDate(*window.end_until);
    if (from < calendar_.state.window_start || until > calendar_.state.window_end) {
      return server_->Query(statement, rows);
    }
    std::vector<StoreItem> candidates;
    if (Status read = mirror_->database().Candidates(calendar_.folder, from, until, base_,
                                                     candidates,
                                                     StatementReadsDescription(statement));
        !read.ok()) {
      return read;
    }
    return RunItemQuery(statement, std::move(candidates), rows);
  }

  Status DeleteItem(const std::string& href) override {
    Status deleted = server_->DeleteItem(href);
    if (deleted.ok()) Mirror(href, false);
    return deleted;
  }

  Result<ItemSource> ReadItem(const std::string& href) override { return server_->ReadItem(href); }

  Result<std::string> CreateItem(const std::string& ics) override {
    Result<std::string> href = server_->CreateItem(ics);
    if (href.ok()) Mirror(*href, true);
    return href;
  }

  Status ReplaceItem(const std::string& href, const std::string& ics,
                     const std::string& etag) override {
    Status replaced = server_->ReplaceItem(href, ics, etag);
    if (replaced.ok()) Mirror(href, true);
    return replaced;
  }

 private:
  // Puts the server's copy of an item just written into the mirror (or takes a deleted one
  // out). The server has the change either way: should this fail, the next refresh brings it.
  void Mirror(const std::string& href, bool present) {
    const auto name = ItemNameIn(base_, href);
    if (!name) return;
    MirrorItem item{*name, "", ""};
    if (present) {
      Result<ItemSource> source = server_->ReadItem(href);
      if (!source.ok()) return;
      item.etag = source->etag;
      item.ics = source->ics;
    }
    (void)mirror_->PutItem(base_, item);
  }

  std::shared_ptr<CalendarMirror> mirror_;
  CalendarMirror::Calendar calendar_;
  std::unique_ptr<StoreFolder> server_;
  std::string base_;  // the folder URL with its trailing slash
};

}  // namespace

std::unique_ptr<StoreFolder> MakeMirroredFolder(std::shared_ptr<CalendarMirror> mirror,
                                                CalendarMirror::Calendar calendar,
                                                std::unique_ptr<StoreFolder> server_folder) {
  return std::make_unique<MirroredFolder>(std::move(mirror), std::move(calendar),
                                          std::move(server_folder));
}

std::optional<UtcSeconds> TakeOldestMirrorRead() { return std::exchange(oldest_read, std::nullopt); }

}  // namespace orbitel::data
