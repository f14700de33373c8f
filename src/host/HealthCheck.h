#pragma once
// The site's health as a monitor reads it at "/healthz": whether the settings and users files
// can be read, whether the directory answers and how many people it has, and whether the
// calendar store answers (for CalDAV calendars kept in a mirror, with the accounts of those not
// in step, which pages ask the server for directly). Each part is asked on a thread of its own and given a short time, so
// the answer comes in well under a second even when a server hangs. Names no path, password or
// address: anyone may ask.

#include <string>
#include <vector>

#include "host/ServedSite.h"

namespace orbitel::host {

struct Health {
  bool ok = false;
  std::string json;
};

Health CheckHealth(const ServedSite& site);
// Every site of a server that holds several, each under its name; ok when all are.
Health CheckHealth(const std::vector<ServedSite>& sites);

}  // namespace orbitel::host
