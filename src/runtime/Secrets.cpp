#include "runtime/Secrets.h"

#include <sys/random.h>

#include <cerrno>
#include <vector>

#include "runtime/TextCoding.h"

namespace orbitel {

std::string RandomHex(std::size_t bytes) {
  std::vector<unsigned char> buffer(bytes);
  std::size_t filled = 0;
  while (filled < bytes) {
    const ssize_t got = getrandom(buffer.data() + filled, bytes - filled, 0);
    if (got > 0) filled += static_cast<std::size_t>(got);
  }
  return HexText({reinterpret_cast<const char*>(buffer.data()), buffer.size()});
}

bool SameSecret(std::string_view given, std::string_view kept) {
  if (kept.empty() || given.size() != kept.size()) return false;
  unsigned char difference = 0;
  for (std::size_t i = 0; i < given.size(); ++i) difference |= static_cast<unsigned char>(given[i] ^ kept[i]);
  return difference == 0;
}

}  // namespace orbitel
