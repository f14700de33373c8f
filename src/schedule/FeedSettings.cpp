#include "schedule/FeedSettings.h"

#include "recordset/AtomicFile.h"
#include "recordset/RowsetFile.h"
#include "site/SettingsFields.h"
#include "site/SiteFiles.h"

namespace orbitel::schedule {

namespace {

constexpr const char* kTokenField = "FeedToken";
constexpr const char* kPrivateField = "FeedPrivate";
constexpr const char* kLeftOut = "Omit";

std::string FieldText(const data::Recordset& settings, const char* name) {
  auto value = settings.Field(name);
  return value.ok() ? value->Text() : std::string();
}

}  // namespace

FeedSettings ReadFeedSettings(const std::string& site_path) {
  FeedSettings feed;
  data::Recordset settings;
  {
    data::FileLock saved_pair(site::files::InSite(site_path, site::files::kSettingsLock), data::FileLock::Mode::kShared);
    if (!data::OpenRowsetFile(site::files::InSite(site_path, site::files::kSettings), settings).ok()) return feed;
  }
  if (settings.IsEOF()) return feed;
  feed.token = FieldText(settings, kTokenField);
  if (FieldText(settings, kPrivateField) == kLeftOut) feed.private_items = PrivateInFeed::kLeftOut;
  return feed;
}

Status SaveFeedSettings(const std::string& site_path, const FeedSettings& feed) {
  return site::SaveSettingsFields(
      site_path, {{kTokenField, feed.token},
                  {kPrivateField, feed.private_items == PrivateInFeed::kLeftOut ? kLeftOut : "Busy"}});
}

}  // namespace orbitel::schedule
