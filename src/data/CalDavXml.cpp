#include "data/CalDavXml.h"

#include <pugixml.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

constexpr char kDav[] = "DAV:";
constexpr char kCalDav[] = "urn:ietf:params:xml:ns:caldav";

Status NotMultistatus(const std::string& why) {
  return Status::Error(errors::kCannotOpenFolder,
                       "The calendar store sent an answer that is not a WebDAV multistatus: " + why);
}

std::string_view LocalName(const pugi::xml_node& node) {
  const std::string_view name = node.name();
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

// The namespace of an element: the nearest declaration of its prefix (or the default one).
std::string_view NamespaceOf(const pugi::xml_node& node) {
  const std::string_view name = node.name();
  const std::size_t colon = name.find(':');
  const std::string attribute =
      colon == std::string_view::npos ? "xmlns" : "xmlns:" + std::string(name.substr(0, colon));
  for (pugi::xml_node at = node; at; at = at.parent()) {
    if (pugi::xml_attribute declared = at.attribute(attribute.c_str())) return declared.value();
  }
  return {};
}

bool Is(const pugi::xml_node& node, std::string_view ns, std::string_view local) {
  return node.type() == pugi::node_element && LocalName(node) == local && NamespaceOf(node) == ns;
}

pugi::xml_node Child(const pugi::xml_node& node, std::string_view ns, std::string_view local) {
  for (pugi::xml_node child : node.children()) {
    if (Is(child, ns, local)) return child;
  }
  return {};
}

// "HTTP/1.1 404 Not Found" -> 404; 0 when it is not a status line.
long StatusCodeOf(std::string_view line) {
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos) return 0;
  const std::string code(line.substr(blank + 1, 3));
  return std::strtol(code.c_str(), nullptr, 10);
}

std::string TextOf(const pugi::xml_node& node) {
  std::string text;
  for (pugi::xml_node child : node.children()) {
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) text += child.value();
  }
  return text;
}

std::string IcalUtc(UtcSeconds seconds) {
  const std::time_t time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  gmtime_r(&time, &parts);
  char text[64];
  std::snprintf(text, sizeof text, "%04d%02d%02dT%02d%02d%02dZ", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
  return text;
}

}  // namespace

Result<std::vector<DavResource>> ParseMultistatus(std::string_view xml) {
  pugi::xml_document document;
  const pugi::xml_parse_result parsed = document.load_buffer(xml.data(), xml.size());
  if (!parsed) {
    return NotMultistatus(std::string(parsed.description()) + " at byte " +
                          std::to_string(parsed.offset));
  }
  const pugi::xml_node root = document.document_element();
  if (!Is(root, kDav, "multistatus")) {
    return NotMultistatus("its root element is <" + std::string(root.name()) + ">");
  }
  std::vector<DavResource> resources;
  for (pugi::xml_node response : root.children()) {
    if (!Is(response, kDav, "response")) continue;
    DavResource resource;
    resource.href = TextOf(Child(response, kDav, "href"));
    if (resource.href.empty()) return NotMultistatus("a response names no href");
    if (pugi::xml_node status = Child(response, kDav, "status")) {
      resource.status = StatusCodeOf(TextOf(status));
    }
    for (pugi::xml_node propstat : response.children()) {
      if (!Is(propstat, kDav, "propstat")) continue;
      const long status = StatusCodeOf(TextOf(Child(propstat, kDav, "status")));
      if (status < 200 || status > 299) continue;
      const pugi::xml_node prop = Child(propstat, kDav, "prop");
      if (pugi::xml_node etag = Child(prop, kDav, "getetag")) resource.etag = TextOf(etag);
      if (pugi::xml_node data = Child(prop, kCalDav, "calendar-data")) {
        resource.calendar_data = TextOf(data);
      }
      if (pugi::xml_node type = Child(prop, kDav, "resourcetype")) {
        resource.calendar = static_cast<bool>(Child(type, kCalDav, "calendar"));
      }
    }
    resources.push_back(std::move(resource));
  }
  return resources;
}

std::string ResourceTypeRequest() {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
         "<D:propfind xmlns:D=\"DAV:\"><D:prop><D:resourcetype/></D:prop></D:propfind>\n";
}

std::string CalendarQueryRequest(std::optional<UtcSeconds> start, std::optional<UtcSeconds> end) {
  std::string range;
  if (start || end) {
    range = "<C:time-range";
    if (start) range += " start=\"" + IcalUtc(*start) + "\"";
    if (end) range += " end=\"" + IcalUtc(*end) + "\"";
    range += "/>";
  }
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
         "<C:calendar-query xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
         "<D:prop><D:getetag/><C:calendar-data/></D:prop>"
         "<C:filter><C:comp-filter name=\"VCALENDAR\"><C:comp-filter name=\"VEVENT\">" +
         range + "</C:comp-filter></C:comp-filter></C:filter></C:calendar-query>\n";
}

}  // namespace orbitel::data
