#include "host/SharedPage.h"

#include "runtime/TextCoding.h"

namespace orbitel::host {

std::shared_ptr<const SharedPage> SharedPage::Make(std::string_view html, std::string_view placeholder) {
  auto page = std::make_shared<SharedPage>();
  std::size_t at = 0;
  for (std::size_t hole = html.find(placeholder); hole != std::string_view::npos && !placeholder.empty();
       hole = html.find(placeholder, at)) {
    page->texts_.emplace_back(html.substr(at, hole - at));
    at = hole + placeholder.size();
  }
  page->texts_.emplace_back(html.substr(at));
  for (std::size_t i = 0; i < page->texts_.size(); ++i) {
    page->deflated_.push_back(Deflate(page->texts_[i], i + 1 == page->texts_.size()));
    page->bytes_ += page->texts_[i].size() + page->deflated_.back().bytes.size();
  }
  return page;
}

AnswerBody SharedPage::Body(const std::shared_ptr<const SharedPage>& page, std::string_view token, bool gzip) {
  const std::string written = HtmlEscape(token);
  AnswerBody body;
  body.keep = page;
  if (!gzip) {
    for (std::size_t i = 0; i < page->texts_.size(); ++i) {
      if (i > 0) body.pieces.emplace_back(written);
      body.pieces.emplace_back(std::string_view(page->texts_[i]));
    }
    return body;
  }
  const DeflatedPiece hole = Stored(written);
  body.pieces.emplace_back(GzipHeader());
  std::uint32_t crc = 0;
  std::size_t size = 0;
  for (std::size_t i = 0; i < page->deflated_.size(); ++i) {
    if (i > 0) {
      body.pieces.emplace_back(hole.bytes);
      crc = CombinedCrc(crc, hole.crc, hole.size);
      size += hole.size;
    }
    const DeflatedPiece& piece = page->deflated_[i];
    body.pieces.emplace_back(std::string_view(piece.bytes));
    crc = CombinedCrc(crc, piece.crc, piece.size);
    size += piece.size;
  }
  body.pieces.emplace_back(GzipTrailer(crc, size));
  return body;
}

}  // namespace orbitel::host
