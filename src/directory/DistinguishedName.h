#pragma once
// Reading the domain out of a distinguished name: "CN=Ann,OU=Staff,DC=corp,DC=example" has the
// domain components "corp" and "example". Components are split at unescaped commas; blanks
// around them (the older "DC=corp, DC=example" spelling) do not count.

#include <string>
#include <string_view>
#include <vector>

namespace orbitel::directory {

// The values of the DC components (any case of "dc") in the order the name gives them.
std::vector<std::string> DomainComponentsOf(std::string_view dn);

// True when the name is not empty and every component is a single DC=value: the DN of a
// domain's top entry.
bool IsDomainName(std::string_view dn);

}  // namespace orbitel::directory
