#include "store/StoreUrl.h"

#include <cctype>

#include "runtime/Conversions.h"

namespace orbitel::data {
namespace {

constexpr std::string_view kPrefix = "file://./backofficestorage/";

bool IsDomainCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-' || c == '_';
}

bool IsAccountCharacter(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte > 0x20 && byte != 0x7f && c != '/' && c != '\\';
}

}  // namespace

std::optional<FolderAddress> ParseFolderUrl(std::string_view url) {
  if (url.size() < kPrefix.size() || ToLower(url.substr(0, kPrefix.size())) != kPrefix) {
    return std::nullopt;
  }
  std::string_view rest = url.substr(kPrefix.size());
  if (!rest.empty() && rest.back() == '/') rest.remove_suffix(1);
  // <domain>/MBX/<account>/calendar
  std::string_view parts[4];
  for (int i = 0; i < 4; ++i) {
    const std::size_t slash = rest.find('/');
    if ((slash == std::string_view::npos) != (i == 3)) return std::nullopt;
    parts[i] = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
  }
  if (ToLower(parts[1]) != "mbx" || ToLower(parts[3]) != "calendar") return std::nullopt;
  FolderAddress address{ToLower(parts[0]), std::string(parts[2])};
  if (address.domain.empty() || address.domain.front() == '.' || address.account.empty()) {
    return std::nullopt;
  }
  for (char c : address.domain) {
    if (!IsDomainCharacter(c)) return std::nullopt;
  }
  for (char c : address.account) {
    if (!IsAccountCharacter(c)) return std::nullopt;
  }
  return address;
}

std::string FolderUrlOf(const std::string& domain, const std::string& account) {
  return std::string(kPrefix) + domain + "/MBX/" + account + "/calendar/";
}

std::string ItemNameOf(std::string_view uid) {
  std::string name;
  name.reserve(uid.size() + 4);
  for (char c : uid) {
    const auto byte = static_cast<unsigned char>(c);
    const bool unsafe = byte <= 0x20 || byte == 0x7f || c == '/' || c == '\\' || c == '?' ||
                        c == '#' || c == '%';
    name += unsafe ? '_' : c;
  }
  return name + ".ics";
}

std::optional<std::string> ItemNameIn(std::string_view folder_url, std::string_view href) {
  if (href.size() <= folder_url.size() ||
      ToLower(href.substr(0, folder_url.size())) != ToLower(folder_url)) {
    return std::nullopt;
  }
  std::string_view name = href.substr(folder_url.size());
  if (name.find('/') != std::string_view::npos) return std::nullopt;
  return std::string(name);
}

}  // namespace orbitel::data
