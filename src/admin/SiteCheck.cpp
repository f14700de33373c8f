// The installation check: a probe per part the site stands on, each true or false, never
// failing, and the table that shows them.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "admin/Options.h"
#include "appointment/Appointment.h"
#include "directory/Directory.h"
#include "site/AccessControl.h"
#include "site/PageContext.h"
#include "site/SiteFiles.h"
#include "site/SiteServices.h"
#include "site/SiteState.h"
#include "store/Connection.h"
#include "store/StoreProvider.h"

namespace orbitel::admin {

namespace {

constexpr const char* kFileMissing =
    "<font color=\"#FF0000\" size=\"2\" face=\"Verdana, Arial, Helvetica, sans-serif\">This file is "
    "missing. Please re-install Orbitel.</font>";

// A probe's answer; anything it throws is a failure.
template <class Probe>
bool Probing(Probe probe) {
  try {
    return probe();
  } catch (...) {
    return false;
  }
}

std::string Label(const std::string& name, const char* width = "220") {
  return std::string("    <td width=\"") + width + "\">      <div align=\"right\"><font size=\"2\" face=\"Verdana, "
         "Arial, Helvetica, sans-serif\">" + name + "</font></div>    </td>";
}

std::string Result(bool passed) {
  return passed ? "    <td bgcolor=\"#00FF00\" width=\"73\">      <div align=\"center\"><b>Pass</b></div>    </td>"
                : "    <td bgcolor=\"#FF0000\" width=\"73\">      <div align=\"center\"><b>Fail</b></div>    </td>";
}

std::string PlainRow(const std::string& name, bool passed) {
  return "  <tr>" + Label(name) + Result(passed) + "    <td width=\"*\">&nbsp;</td>  </tr>";
}

std::string AdviceRow(const std::string& label, bool passed, const std::string& advice) {
  return "  <tr>" + label + Result(passed) + "    <td width=\"*\">&nbsp;" + (passed ? "" : advice) +
         "</td>  </tr>";
}

bool OpensForAppending(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (descriptor < 0) return false;
  ::close(descriptor);
  return true;
}

}  // namespace

std::string Options::SiteCheck() {
  std::string html = "<table width=\"100%\" border=\"0\" cellspacing=\"0\" cellpadding=\"0\">";
  html += PlainRow("ASP:", bolCheckASP());
  html += PlainRow("ASP Sessions:", bolCheckASPSession());
  html += PlainRow("DS:", bolCheckActiveDs());
  html += PlainRow("Domain:", bolCheckDomain());
  html += PlainRow("Exchange CDO:", bolExchangeCDO());
  html += AdviceRow(Label("MDAC:"), bolCheckMDAC(),
                    "<font size=\"2\" face=\"Verdana, Arial, Helvetica, sans-serif\" color=\"#FF0000\">Please "
                    "install MDAC 2.6 or later from Microsoft's web site.</font>");
  html += AdviceRow(Label("OrbitelUsers.xml File:"), bolCheckXMLFile(site::files::kUsers), kFileMissing);
  html += AdviceRow(Label("OrbitelSettings.xml File:     ", "224"), bolCheckXMLFile(site::files::kSettings),
                    kFileMissing);
  html += AdviceRow(Label("Permissions on XML Files:"), bolCheckXMLPermissions(),
                    "<font size=\"2\" color=\"#FF0000\" face=\"Verdana, Arial, Helvetica, sans-serif\">Go to "
                    "the security setting on these files and give them &quot;Full Security&quot; "
                    "permissions.</font>");
  html += "  <tr>" + Label("Exchange Server:") + Result(bolCheckExchangeServer()) +
          "    <td width=\"730\">&nbsp;</td>  </tr>";
  return html + "</table>";
}

bool Options::bolCheckASP() {
  return Probing([] {
    const auto& context = site::Site().PageContext;
    return context && !context->ServerVariable("PATH_TRANSLATED").empty();
  });
}

bool Options::bolCheckASPSession() {
  // The test value replaces the sign-in: the visitor must sign in again afterwards.
  return Probing([] {
    const auto& context = site::Site().PageContext;
    if (!context) return false;
    context->SetSession(site::kSessionKey, "Test");
    return context->Session(site::kSessionKey) == "Test";
  });
}

bool Options::bolCheckMDAC() {
  return Probing([] { return std::strtod(data::Connection::Version().c_str(), nullptr) >= 2.6; });
}

bool Options::bolCheckXMLPermissions() {
  // A missing file is not made here: the file checks report it.
  return Probing([] {
    const std::string& folder = site::Site().SitePath;
    return OpensForAppending(site::files::InSite(folder, site::files::kSettings)) &&
           OpensForAppending(site::files::InSite(folder, site::files::kUsers));
  });
}

bool Options::bolCheckXMLFile(const std::string& file_name) {
  return Probing([&file_name] {
    return std::filesystem::is_regular_file(site::Site().SitePath + file_name);
  });
}

bool Options::bolExchangeCDO() {
  return Probing([] {
    data::Appointment appointment(site::Services().providers);
    appointment.Subject = "Test";
    return true;
  });
}

bool Options::bolCheckExchangeServer() {
  return Probing([] {
    const site::SiteState& site = site::Site();
    auto provider = site::Services().providers.Find(site.StoreProvider);
    return provider.ok() && (*provider)->ProbeService(site.StoreUrlBase).ok();
  });
}

bool Options::bolCheckActiveDs() {
  return Probing([] {
    const auto& directory = site::Services().directory;
    return directory && directory->Accounts().ok();
  });
}

bool Options::bolCheckDomain() {
  return Probing([] {
    const auto& directory = site::Services().directory;
    if (!directory) return false;
    auto naming_context = directory->NamingContext();
    return naming_context.ok() && !directory::DnsNameOf(*naming_context).empty();
  });
}

}  // namespace orbitel::admin
