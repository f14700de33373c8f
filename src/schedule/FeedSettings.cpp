#include "schedule/FeedSettings.h"

#include <algorithm>
#include <array>

#include "data/AtomicFile.h"
#include "data/RowsetFile.h"
#include "runtime/ErrorNumbers.h"
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

// The settings with the feed fields declared, the first row current.
data::Recordset WithFeedFields(data::Recordset settings) {
  std::vector<data::FieldInfo> fields = settings.fields();
  std::vector<std::vector<Value>> rows = settings.rows();
  for (const char* name : {kTokenField, kPrivateField}) {
    const bool declared = std::any_of(fields.begin(), fields.end(), [name](const data::FieldInfo& f) { return f.name == name; });
    if (!declared) fields.push_back({name, "string", 255});
  }
  if (rows.empty()) rows.emplace_back();
  return data::Recordset(std::move(fields), std::move(rows));
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
  data::FileLock write_together(site::files::InSite(site_path, site::files::kSettingsLock), data::FileLock::Mode::kExclusive);
  const std::string path = site::files::InSite(site_path, site::files::kSettings);
  data::Recordset read;
  Status status = data::OpenRowsetFile(path, read);
  if (!status.ok()) return status;
  data::Recordset settings = WithFeedFields(std::move(read));
  status = settings.SetField(kTokenField, feed.token);
  if (status.ok()) {
    status = settings.SetField(kPrivateField, feed.private_items == PrivateInFeed::kLeftOut ? kLeftOut : "Busy");
  }
  if (status.ok()) status = settings.Update();
  if (status.ok()) status = data::SaveRowsetFile(settings, path);
  return status;
}

}  // namespace orbitel::schedule
