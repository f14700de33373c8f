#include "site/SettingsFields.h"

#include <algorithm>

#include "recordset/AtomicFile.h"
#include "recordset/RowsetFile.h"
#include "site/SiteFiles.h"

namespace orbitel::site {

Status SaveSettingsFields(const std::string& site_path, const std::vector<std::pair<std::string, std::string>>& fields) {
  data::FileLock write_together(files::InSite(site_path, files::kSettingsLock), data::FileLock::Mode::kExclusive);
  const std::string path = files::InSite(site_path, files::kSettings);
  data::Recordset read;
  Status status = data::OpenRowsetFile(path, read);
  if (!status.ok()) return status;

  std::vector<data::FieldInfo> declared = read.fields();
  std::vector<std::vector<Value>> rows = read.rows();
  for (const auto& field : fields) {
    const std::string& name = field.first;
    const auto same_name = [&name](const data::FieldInfo& info) { return info.name == name; };
    if (std::none_of(declared.begin(), declared.end(), same_name)) declared.push_back({name, "string", 255});
  }
  if (rows.empty()) rows.emplace_back();
  data::Recordset settings(std::move(declared), std::move(rows));
  for (const auto& [name, value] : fields) {
    if (status.ok()) status = settings.SetField(name, value);
  }
  if (status.ok()) status = settings.Update();
  if (status.ok()) status = data::SaveRowsetFile(settings, path);
  return status;
}

}  // namespace orbitel::site
