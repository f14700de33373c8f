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
  MirroredFolder(std::shared_ptr<CalendarMirror> mirror,
                 std::optional<CalendarMirror::Calendar> in_step,
                 std::unique_ptr<StoreFolder> server)
      : mirror_(std::move(mirror)),
        calendar_(std::move(in_step)),
        server_(std::move(server)),
        base_(server_->url().empty() || server_->url().back() != '/' ? server_->url() + '/'
                                                                     : server_->url()) {
    if (calendar_) {
      const UtcSeconds at = calendar_->state.refreshed_at.value_or(0);
      oldest_read = oldest_read ? std::min(*oldest_read, at) : at;
    }
  }

  const std::string& url() const override { return server_->url(); }

  Status Query(const SelectStatement& statement, Recordset& rows) override {
    // Only a period the mirror holds whole; anything else (a folder named otherwise, one item
    // by name, an open or a wider period) is the server's, as it always was.
    const TimeWindow window = WindowOf(statement.where.get());
    const std::string scope = statement.folder_url.empty() || statement.folder_url.back() == '/'
                                  ? statement.folder_url
                                  : statement.folder_url + '/';
    if (!calendar_ || !window.start_from || !window.end_until ||
        !EqualsIgnoringCase(scope, base_)) {
      return server_->Query(statement, rows);
    }
    const UtcSeconds from = UtcOfDate(*window.start_from);
    const UtcSeconds until = UtcOfDate(*window.end_until);
    if (from < calendar_->state.window_start || until > calendar_->state.window_end) {
      return server_->Query(statement, rows);
    }
    std::vector<StoreItem> candidates;
    if (Status read = mirror_->database().Candidates(calendar_->folder, from, until, base_,
                                                     candidates,
                                                     StatementReadsDescription(statement));
        !read.ok()) {
      return read;
    }
    return RunItemQuery(statement, std::move(candidates), rows);
  }

  Status DeleteItem(const std::string& href) override {
    (void)mirror_->BeginWrite(base_);
    Status deleted = server_->DeleteItem(href);
    EndWrite(deleted.ok() ? std::optional<std::string>(href) : std::nullopt, false);
    return deleted;
  }

  Result<ItemSource> ReadItem(const std::string& href) override { return server_->ReadItem(href); }

  Result<std::string> CreateItem(const std::string& ics) override {
    (void)mirror_->BeginWrite(base_);
    Result<std::string> href = server_->CreateItem(ics);
    EndWrite(href.ok() ? std::optional<std::string>(*href) : std::nullopt, true);
    return href;
  }

  Status ReplaceItem(const std::string& href, const std::string& ics,
                     const std::string& etag) override {
    (void)mirror_->BeginWrite(base_);
    Status replaced = server_->ReplaceItem(href, ics, etag);
    EndWrite(replaced.ok() ? std::optional<std::string>(href) : std::nullopt, true);
    return replaced;
  }

 private:
  // Ends a write in the mirror (a refresh that began before it then leaves the calendar alone),
  // with the server's copy of the item written (or a deleted one taken out) unless it failed.
  // The server has the change either way: should the mirror's part fail, the next refresh
  // brings it.
  void EndWrite(const std::optional<std::string>& written, bool present) {
    std::optional<MirrorItem> item;
    if (const auto name = written ? ItemNameIn(base_, *written) : std::nullopt) {
      item = MirrorItem{*name, "", ""};
      if (present) {
        Result<ItemSource> source = server_->ReadItem(*written);
        if (source.ok()) {
          item->etag = source->etag;
          item->ics = source->ics;
        } else {
          item.reset();
        }
      }
    }
    (void)mirror_->EndWrite(base_, item);
  }

  std::shared_ptr<CalendarMirror> mirror_;
  std::optional<CalendarMirror::Calendar> calendar_;  // when its last refresh brought it in step
  std::unique_ptr<StoreFolder> server_;
  std::string base_;  // the folder URL with its trailing slash
};

}  // namespace

std::unique_ptr<StoreFolder> MakeMirroredFolder(std::shared_ptr<CalendarMirror> mirror,
                                                std::optional<CalendarMirror::Calendar> in_step,
                                                std::unique_ptr<StoreFolder> server_folder) {
  return std::make_unique<MirroredFolder>(std::move(mirror), std::move(in_step),
                                          std::move(server_folder));
}

std::optional<UtcSeconds> TakeOldestMirrorRead() { return std::exchange(oldest_read, std::nullopt); }

}  // namespace orbitel::data
