#pragma once
// The store statements exactly as the calendar and appointment pages send them, for the tests that
// parse and run them; each of the folder given, alice's local calendar unless told.

#include <string>

namespace orbitel::data::testing {

inline constexpr char kLocalFolder[] = "file://./backofficestorage/orbitel.demo/MBX/alice/calendar/";

inline std::string InFolder(const std::string& folder) {
  return "FROM scope('shallow traversal of \"" + folder + "\"') WHERE ";
}

// The calendar pages' query of the appointments between two UTC moments.
inline std::string PeriodQuery(const std::string& folder = kLocalFolder,
                               const std::string& from = "2003-10-25T13:00:01Z",
                               const std::string& to = "2003-12-08T13:00:01Z") {
  return "SELECT \"DAV:href\", \"urn:schemas:httpmail:subject\", \"urn:schemas:calendar:alldayevent\", "
         "\"urn:schemas:calendar:location\", \"urn:schemas:calendar:dtstart\", "
         "\"urn:schemas:calendar:dtend\", \"urn:schemas:calendar:uid\"  " + InFolder(folder) +
         "(\"urn:schemas:calendar:dtstart\" >=CAST(\"" + from + "\" as 'dateTime')) AND "
         "(\"urn:schemas:calendar:dtend\" <=CAST(\"" + to + "\" as 'dateTime')) AND "
         "(\"http://schemas.microsoft.com/exchange/sensitivity\" <> 2) AND "
         "(\"urn:schemas:calendar:busystatus\" <> 'Free')";
}

// The appointment page's query of one item by its file name, apostrophes doubled.
inline std::string LoadQuery(const std::string& folder, const std::string& quoted_name = "O''Brien.ics") {
  return "SELECT \"DAV:href\", \"urn:schemas:httpmail:subject\", \"DAV:displayname\", "
         "\"urn:schemas:calendar:busystatus\", \"urn:schemas:calendar:location\", "
         "\"urn:schemas:calendar:dtstart\", \"urn:schemas:calendar:dtend\", "
         "\"urn:schemas:calendar:alldayevent\", \"urn:schemas:calendar:recurrenceid\", "
         "\"urn:schemas:httpmail:textdescription\",  \"urn:schemas:calendar:uid\"  " +
         InFolder(folder) + "(\"DAV:displayname\" = '" + quoted_name + "')";
}

// The delete page's query of O'Brien.ics.
inline std::string DeleteQuery(const std::string& folder = kLocalFolder) {
  return "SELECT \"DAV:href\",  \"urn:schemas:calendar:uid\"  " + InFolder(folder) +
         "(\"DAV:displayname\" = 'O''Brien.ics')";
}
}  // namespace orbitel::data::testing
