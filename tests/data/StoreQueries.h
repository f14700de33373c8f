#pragma once
// The store statements exactly as the calendar pages and the appointment page send them, for the
// tests that parse and run them.

namespace orbitel::data::testing {

// The queries exactly as the calendar pages send them.
inline constexpr char kPeriodQuery[] =
    "SELECT \"DAV:href\", \"urn:schemas:httpmail:subject\", \"urn:schemas:calendar:alldayevent\", "
    "\"urn:schemas:calendar:location\", \"urn:schemas:calendar:dtstart\", "
    "\"urn:schemas:calendar:dtend\", \"urn:schemas:calendar:uid\"  FROM scope('shallow traversal "
    "of \"file://./backofficestorage/orbitel.demo/MBX/alice/calendar/\"') WHERE "
    "(\"urn:schemas:calendar:dtstart\" >=CAST(\"2003-10-25T13:00:01Z\" as 'dateTime')) AND "
    "(\"urn:schemas:calendar:dtend\" <=CAST(\"2003-12-08T13:00:01Z\" as 'dateTime')) AND "
    "(\"http://schemas.microsoft.com/exchange/sensitivity\" <> 2) AND "
    "(\"urn:schemas:calendar:busystatus\" <> 'Free')";
inline constexpr char kLoadQuery[] =
    "SELECT \"DAV:href\", \"urn:schemas:httpmail:subject\", \"DAV:displayname\", "
    "\"urn:schemas:calendar:busystatus\", \"urn:schemas:calendar:location\", "
    "\"urn:schemas:calendar:dtstart\", \"urn:schemas:calendar:dtend\", "
    "\"urn:schemas:calendar:alldayevent\", \"urn:schemas:calendar:recurrenceid\", "
    "\"urn:schemas:httpmail:textdescription\",  \"urn:schemas:calendar:uid\"  FROM "
    "scope('shallow traversal of \"http://mail/exchange/alice/calendar/\"') WHERE "
    "(\"DAV:displayname\" = 'O''Brien.ics')";
inline constexpr char kUpdateQuery[] =
    "SELECT \"DAV:href\", \"urn:schemas:calendar:location\" from scope('shallow traversal of "
    "\"file://./backofficestorage/orbitel.demo/MBX/alice/calendar/\"') WHERE "
    "(\"DAV:displayname\" = 'abc.ics')";
inline constexpr char kDeleteQuery[] =
    "SELECT \"DAV:href\",  \"urn:schemas:calendar:uid\"  FROM scope('shallow traversal of "
    "\"file://./backofficestorage/orbitel.demo/MBX/alice/calendar/\"') WHERE "
    "(\"DAV:displayname\" = 'O''Brien.ics')";

inline constexpr char kLocalFolder[] = "file://./backofficestorage/orbitel.demo/MBX/alice/calendar/";

}  // namespace orbitel::data::testing
