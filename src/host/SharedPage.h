#pragma once
// A page made once for every visitor of one sign-in level and kept: its text with a hole
// wherever the visitor's own form token goes (the navigation's sign-out form carries it), and
// the same pieces deflated once. Each answer puts the visitor's token into the holes, so no
// visitor is ever sent another's token. Immutable once made; safe to share between threads.

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/AnswerBody.h"
#include "host/Compression.h"

namespace orbitel::host {

class SharedPage {
 public:
  // `html` as rendered with `placeholder` standing for the form token.
  static std::shared_ptr<const SharedPage> Make(std::string_view html, std::string_view placeholder);

  // The body for one visitor: their token (as the template would write it) in every hole, as
  // plain text or as one gzip stream.
  static AnswerBody Body(const std::shared_ptr<const SharedPage>& page, std::string_view token, bool gzip);

  // The memory the page holds.
  std::size_t bytes() const { return bytes_; }

 private:
  std::vector<std::string> texts_;       // between the holes
  std::vector<DeflatedPiece> deflated_;  // the same, each deflated on its own
  std::size_t bytes_ = 0;
};

}  // namespace orbitel::host
