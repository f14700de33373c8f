#pragma once
// A store that fails on the n-th write: it hands every call to the real provider's folders,
// but the n-th item written through any of them (created, replaced, put or deleted) is refused
// as a full disk would refuse it, before it reaches the store.

#include <memory>
#include <string>
#include <utility>

#include "runtime/ErrorNumbers.h"
#include "store/StoreProvider.h"

namespace orbitel::data::testing {

class FailingProvider final : public StoreProvider {
 public:
  FailingProvider(std::shared_ptr<const StoreProvider> real, int failing_write)
      : real_(std::move(real)), failing_write_(failing_write) {}

  std::string_view name() const override { return real_->name(); }
  bool Serves(std::string_view url) const override { return real_->Serves(url); }
  Status ProbeService(const std::string& url_base) const override { return real_->ProbeService(url_base); }
  Result<std::unique_ptr<StoreFolder>> OpenFolder(const std::string& url) const override;

  // Whether the write counted now is the one to refuse.
  bool Refuses() const { return ++writes_ == failing_write_; }

 private:
  std::shared_ptr<const StoreProvider> real_;
  const int failing_write_;
  mutable int writes_ = 0;
};

class FailingFolder final : public StoreFolder {
 public:
  FailingFolder(std::unique_ptr<StoreFolder> real, const FailingProvider& provider)
      : real_(std::move(real)), provider_(provider) {}

  const std::string& url() const override { return real_->url(); }
  Status Query(const SelectStatement& statement, Recordset& rows) override { return real_->Query(statement, rows); }
  Result<ItemSource> ReadItem(const std::string& href) override { return real_->ReadItem(href); }
  Result<std::unique_ptr<StoreWrites>> BeginWrites() override { return real_->BeginWrites(); }

  Status DeleteItem(const std::string& href) override {
    return provider_.Refuses() ? DiskFull() : real_->DeleteItem(href);
  }
  Result<std::string> CreateItem(const std::string& ics) override {
    if (provider_.Refuses()) return DiskFull();
    return real_->CreateItem(ics);
  }
  Status ReplaceItem(const std::string& href, const std::string& ics, const std::string& etag) override {
    return provider_.Refuses() ? DiskFull() : real_->ReplaceItem(href, ics, etag);
  }
  Status PutItem(const std::string& uid, const std::string& ics) override {
    return provider_.Refuses() ? DiskFull() : real_->PutItem(uid, ics);
  }

  static Status DiskFull() { return Status::Error(errors::kCannotOpenFolder, "the disk is full"); }

 private:
  std::unique_ptr<StoreFolder> real_;
  const FailingProvider& provider_;
};

inline Result<std::unique_ptr<StoreFolder>> FailingProvider::OpenFolder(const std::string& url) const {
  Result<std::unique_ptr<StoreFolder>> real = real_->OpenFolder(url);
  if (!real.ok()) return real;
  return std::unique_ptr<StoreFolder>(std::make_unique<FailingFolder>(std::move(real).value(), *this));
}

}  // namespace orbitel::data::testing
