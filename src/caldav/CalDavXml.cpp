#include "caldav/CalDavXml.h"

#include <pugixml.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "runtime/ErrorNumbers.h"
#include "runtime/TextCoding.h"

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

// The resources of a multistatus, and the text of its top-level DAV:sync-token if it has one.
Result<std::vector<DavResource>> ParseDocument(std::string_view xml,
                                               std::optional<std::string>* sync_token) {
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
  if (sync_token != nullptr) {
    if (pugi::xml_node token = Child(root, kDav, "sync-token")) *sync_token = TextOf(token);
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
      if (pugi::xml_node token = Child(prop, kDav, "sync-token")) {
        resource.sync_token = TextOf(token);
      }
    }
    resources.push_back(std::move(resource));
  }
  return resources;
}

std::string EscapeXml(std::string_view text) { return EscapeMarkup(text, Markup::kXmlText); }

constexpr char kXmlHead[] = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

}  // namespace

std::optional<std::string> MemberNameOf(std::string_view href) {
  if (href.empty() || href.back() == '/') return std::nullopt;
  const std::size_t slash = href.rfind('/');
  const std::string name =
      PercentDecode(slash == std::string_view::npos ? href : href.substr(slash + 1));
  if (name.empty()) return std::nullopt;
  return name;
}


Result<std::vector<DavResource>> ParseMultistatus(std::string_view xml) {
  return ParseDocument(xml, nullptr);
}

Result<SyncAnswer> ParseSyncAnswer(std::string_view xml) {
  std::optional<std::string> token;
  Result<std::vector<DavResource>> resources = ParseDocument(xml, &token);
  if (!resources.ok()) return resources.status();
  // An answer cut short does not parse; one that parses but names no token cannot say what
  // the calendar's state now is, and brings nothing in step.
  if (!token || token->empty()) return NotMultistatus("it carries no sync token");
  return SyncAnswer{std::move(resources).value(), std::move(*token)};
}

std::string CollectionStateRequest() {
  return std::string(kXmlHead) +
         "<D:propfind xmlns:D=\"DAV:\"><D:prop><D:resourcetype/><D:sync-token/></D:prop>"
         "</D:propfind>\n";
}

std::string SyncCollectionRequest(const std::string& sync_token, bool calendar_data) {
  return std::string(kXmlHead) +
         "<D:sync-collection xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
         "<D:sync-token>" + EscapeXml(sync_token) + "</D:sync-token><D:sync-level>1</D:sync-level>"
         "<D:prop><D:getetag/>" + (calendar_data ? "<C:calendar-data/>" : "") +
         "</D:prop></D:sync-collection>\n";
}

std::string MultigetRequest(const std::vector<std::string>& hrefs) {
  std::string body = std::string(kXmlHead) +
                     "<C:calendar-multiget xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
                     "<D:prop><D:getetag/><C:calendar-data/></D:prop>";
  for (const std::string& href : hrefs) body += "<D:href>" + EscapeXml(href) + "</D:href>";
  return body + "</C:calendar-multiget>\n";
}

std::string EtagQueryRequest(UtcSeconds start, UtcSeconds end) {
  return std::string(kXmlHead) +
         "<C:calendar-query xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
         "<D:prop><D:getetag/></D:prop>"
         "<C:filter><C:comp-filter name=\"VCALENDAR\"><C:comp-filter name=\"VEVENT\">"
         "<C:time-range start=\"" + IcalUtc(start) + "\" end=\"" + IcalUtc(end) + "\"/>"
         "</C:comp-filter></C:comp-filter></C:filter></C:calendar-query>\n";
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
         "<D:prop><C:calendar-data/></D:prop>"
         "<C:filter><C:comp-filter name=\"VCALENDAR\"><C:comp-filter name=\"VEVENT\">" +
         range + "</C:comp-filter></C:comp-filter></C:filter></C:calendar-query>\n";
}

}  // namespace orbitel::data
