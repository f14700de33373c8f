#pragma once
// The team and personal pages kept once made, as they are the same for every visitor of one
// sign-in level: found by the site folder, the page, its query and the level, and used only
// while the fingerprint of everything they were made from (PageSources.h) is the same. At most
// a given number of bytes is kept; the page used least recently goes first. Safe from any
// thread.

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "host/SharedPage.h"

namespace orbitel::host {

class PageCache {
 public:
  // byte_limit 0 keeps nothing.
  explicit PageCache(std::size_t byte_limit) : byte_limit_(byte_limit) {}

  static std::string KeyOf(std::string_view site_folder, std::string_view page, std::string_view query,
                           std::string_view level);

  // The page kept under the key if it was made from sources with this fingerprint; null
  // otherwise (a page of other sources is dropped).
  std::shared_ptr<const SharedPage> Find(const std::string& key, const std::string& fingerprint);
  // Keeps the page, made from sources with this fingerprint, in place of any under the key.
  void Keep(const std::string& key, std::string fingerprint, std::shared_ptr<const SharedPage> page);

  bool enabled() const { return byte_limit_ > 0; }
  std::size_t bytes() const;

  // The text standing for the form token while a kept page is made: random per process, so no
  // appointment text can name it.
  static const std::string& TokenPlaceholder();

 private:
  struct Entry {
    std::string key;
    std::string fingerprint;
    std::shared_ptr<const SharedPage> page;
  };
  void Drop(std::list<Entry>::iterator entry);

  const std::size_t byte_limit_;
  mutable std::mutex mutex_;
  std::list<Entry> entries_;  // most recently used first
  std::unordered_map<std::string, std::list<Entry>::iterator> by_key_;
  std::size_t bytes_ = 0;
};

}  // namespace orbitel::host
