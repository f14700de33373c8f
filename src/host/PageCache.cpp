#include "host/PageCache.h"

#include "runtime/Secrets.h"

namespace orbitel::host {

std::string PageCache::KeyOf(std::string_view site_folder, std::string_view page, std::string_view query,
                             std::string_view level) {
  // A byte no folder, page name, query or level holds keeps the parts apart.
  std::string key;
  for (std::string_view part : {site_folder, page, query, level}) {
    key += part;
    key += '\0';
  }
  return key;
}

std::shared_ptr<const SharedPage> PageCache::Find(const std::string& key, const std::string& fingerprint) {
  std::lock_guard lock(mutex_);
  const auto found = by_key_.find(key);
  if (found == by_key_.end()) return nullptr;
  if (found->second->fingerprint != fingerprint) {
    Drop(found->second);
    return nullptr;
  }
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->page;
}

void PageCache::Keep(const std::string& key, std::string fingerprint, std::shared_ptr<const SharedPage> page) {
  if (!page || page->bytes() > byte_limit_) return;
  std::lock_guard lock(mutex_);
  if (const auto found = by_key_.find(key); found != by_key_.end()) Drop(found->second);
  bytes_ += page->bytes();
  entries_.push_front(Entry{key, std::move(fingerprint), std::move(page)});
  by_key_[key] = entries_.begin();
  while (bytes_ > byte_limit_) Drop(std::prev(entries_.end()));
}

void PageCache::Drop(std::list<Entry>::iterator entry) {
  bytes_ -= entry->page->bytes();
  by_key_.erase(entry->key);
  entries_.erase(entry);
}

std::size_t PageCache::bytes() const {
  std::lock_guard lock(mutex_);
  return bytes_;
}

const std::string& PageCache::TokenPlaceholder() {
  static const std::string placeholder = "token-" + RandomHex(16);
  return placeholder;
}

}  // namespace orbitel::host
