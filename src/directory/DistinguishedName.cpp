#include "directory/DistinguishedName.h"

#include "runtime/TextCoding.h"
#include "runtime/TrimBlanks.h"

namespace orbitel::directory {
namespace {

struct Component {
  std::string type;
  std::string value;
  bool well_formed = false;  // one type=value pair, not a multi-valued "a=1+b=2"
};

// RFC 4514 escapes: "\," for a special character, "\2C" for a byte.
std::string Unescape(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 >= text.size()) {
      out.push_back(text[i]);
    } else if (i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 && HexDigit(text[i + 2]) >= 0) {
      out.push_back(static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2])));
      i += 2;
    } else {
      out.push_back(text[++i]);
    }
  }
  return out;
}

Component ParseComponent(std::string_view text) {
  Component component;
  std::size_t equals = std::string_view::npos;
  bool escaped = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (escaped) {
      escaped = false;
    } else if (text[i] == '\\') {
      escaped = true;
    } else if (text[i] == '+') {
      return component;  // multi-valued: never a plain domain component
    } else if (text[i] == '=' && equals == std::string_view::npos) {
      equals = i;
    }
  }
  if (equals == std::string_view::npos) return component;
  component.type = std::string(TrimBlanks(text.substr(0, equals)));
  component.value = Unescape(TrimBlanks(text.substr(equals + 1)));
  component.well_formed = !component.type.empty();
  return component;
}

std::vector<Component> SplitDn(std::string_view dn) {
  std::vector<Component> components;
  std::size_t start = 0;
  bool escaped = false;
  for (std::size_t i = 0; i <= dn.size(); ++i) {
    if (i == dn.size() || (!escaped && dn[i] == ',')) {
      components.push_back(ParseComponent(dn.substr(start, i - start)));
      start = i + 1;
      escaped = false;
    } else {
      escaped = !escaped && dn[i] == '\\';
    }
  }
  return components;
}

bool IsDomainComponent(const Component& component) {
  return component.well_formed && EqualsIgnoringCase(component.type, "dc");
}

}  // namespace

std::vector<std::string> DomainComponentsOf(std::string_view dn) {
  std::vector<std::string> values;
  if (TrimBlanks(dn).empty()) return values;
  for (Component& component : SplitDn(dn)) {
    if (IsDomainComponent(component)) values.push_back(std::move(component.value));
  }
  return values;
}

bool IsDomainName(std::string_view dn) {
  if (TrimBlanks(dn).empty()) return false;
  for (const Component& component : SplitDn(dn)) {
    if (!IsDomainComponent(component)) return false;
  }
  return true;
}

}  // namespace orbitel::directory
