#pragma once
// What a page shared by the visitors of a sign-in level is made from, summed up in a
// fingerprint that changes whenever any of it does: the settings and users files, the
// directory file, the page templates, every domain database of the local store (its count of
// changes, which every writer bumps, and its files), today's date and, for the now page, the
// hour and half hour it shows. A few stats and one small query a domain; safe from any thread.

#include <filesystem>
#include <optional>
#include <string>

namespace orbitel::host {

// nullopt when a source cannot be watched, so the page is not kept: an LDAP directory (its
// people change there unseen) or a store database that cannot be read.
std::optional<std::string> PageSourcesFingerprint(const std::filesystem::path& site_folder, bool follows_the_clock);

}  // namespace orbitel::host
