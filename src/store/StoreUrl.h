#pragma once
// The local store's addresses: a folder URL
// "file://./backofficestorage/<domain>/MBX/<account>/calendar/" names one mailbox's calendar in
// one domain's database, and an item's href is the folder URL followed by its file name.

#include <optional>
#include <string>
#include <string_view>

namespace orbitel::data {

struct FolderAddress {
  std::string domain;   // lower case: the name of the domain's folder under the store root
  std::string account;  // as written; mailboxes match it ignoring case
};

// nullopt for a URL not of that form (the trailing slash is optional; the fixed parts and the
// domain are matched ignoring case), or with a domain or account that could not name a folder.
std::optional<FolderAddress> ParseFolderUrl(std::string_view url);
std::string FolderUrlOf(const std::string& domain, const std::string& account);

// The file name of an item in its folder: "<uid>.ics", with characters that cannot stand in a
// URL path segment ('/', '?', '#', '%', blanks and controls) replaced by '_'.
std::string ItemNameOf(std::string_view uid);

// The item's file name when href lies directly in the folder (given with its trailing slash).
std::optional<std::string> ItemNameIn(std::string_view folder_url, std::string_view href);

}  // namespace orbitel::data
