#pragma once
// Names for the pictures and links the page objects print, so a screen reader (and a mouse
// pointer resting on a mark) tells what each one shows. They are added after an element's own
// attributes and escaped like any outside text; the rest of the element stays as it was.

#include <initializer_list>
#include <string>
#include <string_view>

#include "runtime/Date.h"

namespace orbitel::site {

// ` alt="<text>" title="<text>"`: the picture's alternative text, shown again on hover.
std::string PictureName(std::string_view text);
// The same for the text the pieces make together, appended to html.
void AppendPictureName(std::string& html, std::initializer_list<std::string_view> text);
// ` aria-label="<text>"`: the name of a control that has no label of its own.
std::string ControlName(std::string_view text);
// "Busy", "Tentative", "Out of the office", "Free" for the store's busy statuses (BUSY,
// TENTATIVE, OOF, FREE); empty for any other text. The form's list, the blocks' pictures and
// the now page's tiles say them alike.
std::string_view BusyStatusWords(std::string_view status);
inline constexpr const char* kBusyStatuses[] = {"BUSY", "TENTATIVE", "OOF", "FREE"};
// "Monday 3 November": the day a mark stands for, as a reader says it.
std::string SpokenDay(Date date);

}  // namespace orbitel::site
