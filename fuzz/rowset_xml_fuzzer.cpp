// Rowset XML, as the settings and users files hold it: the input read as a rowset, every row
// walked field by field, and what reads written and read again, which must give the same rows.
#include <string>

#include "FuzzInput.h"
#include "recordset/Recordset.h"
#include "recordset/RowsetXml.h"

using namespace orbitel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto parsed = data::ParseRowsetXml(fuzz::InputText(data, size), "OrbitelUsers.xml");
  if (!parsed.ok()) return 0;
  data::Recordset* recordset = &parsed.value();
  for (Status moved = recordset->MoveFirst(); moved.ok() && !recordset->IsEOF();
       moved = recordset->MoveNext()) {
    for (const data::FieldInfo& field : recordset->fields()) (void)recordset->Field(field.name);
  }

  auto reread = data::ParseRowsetXml(data::WriteRowsetXml(*recordset), "OrbitelUsers.xml");
  fuzz::Require(reread.ok(), "a written rowset reads again");
  fuzz::Require(reread->fields().size() == recordset->fields().size(),
                "a written rowset keeps its fields");
  fuzz::Require(reread->rows().size() == recordset->rows().size(),
                "a written rowset keeps its rows");
  for (std::size_t row = 0; row < recordset->rows().size(); ++row) {
    for (std::size_t field = 0; field < recordset->fields().size(); ++field) {
      fuzz::Require(reread->rows()[row][field].Text() == recordset->rows()[row][field].Text(),
                    "a written rowset keeps its values");
    }
  }
  return 0;
}
