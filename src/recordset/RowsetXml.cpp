#include "recordset/RowsetXml.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "runtime/DateText.h"
#include "runtime/ErrorNumbers.h"
#include "runtime/TextCoding.h"

namespace orbitel::data {
namespace {

std::string_view LocalName(std::string_view qualified) {
  const auto colon = qualified.rfind(':');
  return colon == std::string_view::npos ? qualified : qualified.substr(colon + 1);
}

pugi::xml_node ChildNamed(pugi::xml_node parent, std::string_view local) {
  for (pugi::xml_node child : parent.children()) {
    if (child.type() == pugi::node_element && LocalName(child.name()) == local) return child;
  }
  return {};
}

// The attribute written with some prefix (rs:name, dt:type), never the unprefixed one: on an
// s:AttributeType "name" is the row attribute's name and "rs:name" the field's.
pugi::xml_attribute PrefixedAttribute(pugi::xml_node node, std::string_view local) {
  for (pugi::xml_attribute attribute : node.attributes()) {
    const std::string_view name = attribute.name();
    if (name.find(':') != std::string_view::npos && !name.starts_with("xmlns:") &&
        LocalName(name) == local) {
      return attribute;
    }
  }
  return {};
}

Status Invalid(const std::string& file_name, const std::string& why) {
  return Status::Error(errors::kPersistedFileInvalid,
                       "The rowset file " + file_name + " is not valid: " + why);
}

// How a field is written: the row attribute's name, and the field's own name when that is not
// a usable attribute name (as ADO does for names with blanks: name='c0' rs:name='First Name').
struct Column {
  std::string attribute;
  const FieldInfo* field;
};

bool IsXmlName(std::string_view name) {
  if (name.empty()) return false;
  auto letter = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
  };
  if (!letter(name.front())) return false;
  for (char c : name) {
    if (!letter(c) && !(c >= '0' && c <= '9') && c != '-' && c != '.') return false;
  }
  return true;
}

std::vector<Column> Columns(const std::vector<FieldInfo>& fields) {
  std::set<std::string> taken;
  for (const FieldInfo& field : fields) {
    if (IsXmlName(field.name)) taken.insert(field.name);
  }
  std::vector<Column> columns;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    std::string attribute = fields[i].name;
    const bool used = std::any_of(columns.begin(), columns.end(),
                                  [&](const Column& column) { return column.attribute == attribute; });
    if (!IsXmlName(attribute) || used) {
      // Prefixed in place: GCC 12 at -O3 warns falsely (-Wrestrict) when a literal is put
      // before or over a string here.
      attribute = std::to_string(i);
      attribute.insert(attribute.begin(), 'c');
      while (taken.count(attribute) > 0) attribute += "_";
      taken.insert(attribute);
    }
    columns.push_back(Column{attribute, &fields[i]});
  }
  return columns;
}

// Single-quoted attribute text.
std::string Escaped(std::string_view text) { return EscapeMarkup(text, Markup::kXmlAttribute); }

std::string TextOf(const Value& value) {
  if (const Date* date = value.AsDate()) return FormatIsoDate(*date);
  return value.Text();
}

}  // namespace

Result<Recordset> ParseRowsetXml(std::string_view xml, const std::string& file_name) {
  pugi::xml_document document;
  const pugi::xml_parse_result parsed =
      document.load_buffer(xml.data(), xml.size(), pugi::parse_default, pugi::encoding_auto);
  if (!parsed) {
    return Invalid(file_name, std::string(parsed.description()) + " at offset " +
                                  std::to_string(parsed.offset));
  }
  const pugi::xml_node root = document.document_element();
  const pugi::xml_node schema = ChildNamed(root, "Schema");
  if (!schema) return Invalid(file_name, "no s:Schema element");
  pugi::xml_node element_type;
  for (pugi::xml_node child : schema.children()) {
    if (LocalName(child.name()) != "ElementType") continue;
    if (!element_type || std::string_view(child.attribute("name").value()) == "row") {
      element_type = child;
    }
  }
  if (!element_type) return Invalid(file_name, "no s:ElementType element");

  std::vector<FieldInfo> fields;
  std::vector<std::string> attributes;  // the row attribute that holds each field
  for (pugi::xml_node declared : element_type.children()) {
    if (LocalName(declared.name()) != "AttributeType") continue;
    const std::string attribute = declared.attribute("name").value();
    if (attribute.empty()) return Invalid(file_name, "an s:AttributeType without a name");
    FieldInfo field;
    const pugi::xml_attribute own_name = PrefixedAttribute(declared, "name");
    field.name = own_name ? own_name.value() : attribute;
    // dt:type and dt:maxLength sit on s:datatype, or on the s:AttributeType itself.
    const pugi::xml_node datatype = ChildNamed(declared, "datatype");
    pugi::xml_attribute type = PrefixedAttribute(datatype, "type");
    if (!type) type = PrefixedAttribute(declared, "type");
    field.type = type && *type.value() ? type.value() : "string";
    pugi::xml_attribute max_length = PrefixedAttribute(datatype, "maxLength");
    if (!max_length) max_length = PrefixedAttribute(declared, "maxLength");
    field.max_length = max_length ? std::atoi(max_length.value()) : 0;
    fields.push_back(std::move(field));
    attributes.push_back(attribute);
  }

  std::vector<std::vector<Value>> rows;
  auto add_row = [&](pugi::xml_node row) {
    std::vector<Value> values;
    values.reserve(attributes.size());
    for (const std::string& attribute : attributes) {
      const pugi::xml_attribute value = row.attribute(attribute.c_str());
      values.push_back(value ? Value(std::string(value.value())) : Value());
    }
    rows.push_back(std::move(values));
  };
  for (pugi::xml_node child : ChildNamed(root, "data").children()) {
    const std::string_view kind = LocalName(child.name());
    if (kind == "row") {
      add_row(child);
    } else if (kind == "insert" || kind == "update") {
      for (pugi::xml_node row : child.children()) {
        if (LocalName(row.name()) == "row") add_row(row);
      }
    }
  }
  return Recordset(std::move(fields), std::move(rows));
}

std::string WriteRowsetXml(const Recordset& recordset) {
  const std::vector<Column> columns = Columns(recordset.fields());
  std::string out =
      "<xml xmlns:s='uuid:BDC6E3F0-6DA3-11d1-A2A3-00AA00C14882'\n"
      "\txmlns:dt='uuid:C2F41010-65B3-11d1-A29F-00AA00C14882'\n"
      "\txmlns:rs='urn:schemas-microsoft-com:rowset'\n"
      "\txmlns:z='#RowsetSchema'>\n"
      "<s:Schema id='RowsetSchema'>\n"
      "\t<s:ElementType name='row' content='eltOnly' rs:updatable='true'>\n";
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const FieldInfo& field = *columns[i].field;
    out += "\t\t<s:AttributeType name='" + Escaped(columns[i].attribute) + "'";
    if (columns[i].attribute != field.name) out += " rs:name='" + Escaped(field.name) + "'";
    out += " rs:number='" + std::to_string(i + 1) + "' rs:write='true'>\n";
    bool may_be_empty = false;
    for (const auto& row : recordset.rows()) may_be_empty = may_be_empty || row[i].IsEmpty();
    out += "\t\t\t<s:datatype dt:type='" + Escaped(field.type.empty() ? "string" : field.type) + "'";
    if (field.max_length > 0) out += " dt:maxLength='" + std::to_string(field.max_length) + "'";
    out += " rs:precision='0' rs:maybenull='";
    out += may_be_empty ? "true" : "false";
    out += "'/>\n\t\t</s:AttributeType>\n";
  }
  out +=
      "\t\t<s:extends type='rs:rowbase'/>\n"
      "\t</s:ElementType>\n"
      "</s:Schema>\n"
      "<rs:data>\n";
  for (const auto& row : recordset.rows()) {
    out += "\t<z:row";
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (row[i].IsEmpty()) continue;
      out += " " + columns[i].attribute + "='" + Escaped(TextOf(row[i])) + "'";
    }
    out += "/>\n";
  }
  out += "</rs:data>\n</xml>\n";
  return out;
}

}  // namespace orbitel::data
