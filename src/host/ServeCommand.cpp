#include "host/ServeCommand.h"

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <tuple>
#include <thread>

#include "caldav/MirrorRefresher.h"
#include "directory/CredentialsFile.h"
#include "directory/Directory.h"
#include "directory/LdifDirectory.h"
#include "host/CommandLine.h"
#include "host/DemoSite.h"
#include "host/WebServer.h"
#include "recordset/AtomicFile.h"
#include "recordset/RowsetFile.h"
#include "runtime/Conversions.h"
#include "site/MirrorPlan.h"
#include "site/SiteFiles.h"
#include "site/SiteServices.h"
#include "site/SiteSettings.h"
#include "site/SiteState.h"
#include "store/StoreCredentials.h"
#include "store/StoreProvider.h"

namespace orbitel::host {

namespace fs = std::filesystem;

namespace {

struct ServeOptions {
  std::optional<fs::path> site;
  std::optional<fs::path> sites;
  std::string address = "127.0.0.1";
  int port = 8080;
  int threads = 32;
  int page_cache_mb = 64;
  std::optional<std::string> directory;
  std::optional<std::string> directory_credentials;
  std::optional<fs::path> store_root;
  std::optional<std::string> store_credentials;
  std::vector<std::string> trusted_proxies;
  bool secure_cookies = false;
};

// "127.0.0.1:8080", "[::1]:8080" or "localhost:0".
bool ParseListen(const std::string& text, ServeOptions& options) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos || colon == 0) return false;
  std::string host = text.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  const std::string port = text.substr(colon + 1);
  if (port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos) return false;
  options.port = std::stoi(port);
  if (options.port > 65535) return false;
  options.address = host;
  return true;
}

// What the command line asks for, or why it cannot be served; help is set by -h and --help.
std::optional<std::string> ParseOptions(const std::vector<std::string>& args, ServeOptions& options, bool& help) {
  std::string site, sites, listen, threads, page_cache, directory, directory_credentials, store_root,
      store_credentials;
  CommandLine line;
  line.Flag("-h,--help", help)
      .Option("--site", site)
      .Option("--sites", sites)
      .Option("--listen", listen)
      .Option("--threads", threads)
      .Option("--page-cache", page_cache)
      .Option("--directory", directory)
      .Option("--directory-credentials", directory_credentials)
      .Option("--store-root", store_root)
      .Option("--store-credentials", store_credentials)
      .Options("--trusted-proxy", options.trusted_proxies)
      .Flag("--secure-cookies", options.secure_cookies);
  if (const auto misuse = line.Parse(args)) {
    if (misuse->kind == CommandLineMisuse::kNoValue) return misuse->text + " needs a value";
    if (misuse->kind == CommandLineMisuse::kUnknownOption) return "unknown option " + misuse->text;
    return misuse->text;
  }
  if (line.Given("--site")) options.site = site;
  if (line.Given("--sites")) options.sites = sites;
  if (line.Given("--listen") && !ParseListen(listen, options)) {
    return "--listen takes ADDRESS:PORT, e.g. 127.0.0.1:8080";
  }
  if (line.Given("--threads")) {
    if (threads.empty() || threads.size() > 4 || threads.find_first_not_of("0123456789") != std::string::npos ||
        std::stoi(threads) < 1) {
      return "--threads takes a number from 1 to 9999";
    }
    options.threads = std::stoi(threads);
  }
  if (line.Given("--page-cache")) {
    if (page_cache.empty() || page_cache.size() > 5 || page_cache.find_first_not_of("0123456789") != std::string::npos) {
      return "--page-cache takes a number of megabytes from 0 to 99999";
    }
    options.page_cache_mb = std::stoi(page_cache);
  }
  if (line.Given("--directory")) options.directory = directory;
  if (line.Given("--directory-credentials")) options.directory_credentials = directory_credentials;
  if (line.Given("--store-root")) options.store_root = store_root;
  if (line.Given("--store-credentials")) options.store_credentials = store_credentials;
  if (options.sites && (options.site || options.store_root)) {
    return "--sites serves each site with its own store: it goes with neither --site nor --store-root";
  }
  return std::nullopt;
}

// Prints who can sign in to the demo site, as its settings file says.
void PrintDemoSignIn(const ServedSite& site, std::ostream& out) {
  const site::UsingServices bound(*site.services);
  site::SiteState& state = site::Site();
  state.SitePath = site.folder.string() + "/";
  site::GetSiteVars();
  out << "Sign in as " << state.UserUserName << " / " << state.UserPassword << " (the team's pages) or "
      << state.AdminUserName << " / " << state.AdminPassword << " (administrator)\n";
  state = site::SiteState();
}

bool IsLoopback(const std::string& address) {
  return address == "localhost" || address == "::1" || address.rfind("127.", 0) == 0;
}

// The sign-ins the site's settings hold that are still the shipped ones ("team / team").
std::vector<std::string> ShippedSignIns(const fs::path& site_folder) {
  data::Recordset settings;
  if (!data::OpenRowsetFile(site_folder / site::files::kSettings, settings).ok() || settings.IsEOF()) return {};
  std::vector<std::string> shipped;
  for (const auto& [name_field, password_field, name] :
       {std::tuple{"UserUserName", "UserPassword", "team"}, std::tuple{"AdminUserName", "AdminPassword", "admin"}}) {
    auto user = settings.Field(name_field);
    auto password = settings.Field(password_field);
    if (user.ok() && password.ok() && user->Text() == name && password->Text() == name) {
      shipped.push_back(std::string(name) + " / " + name);
    }
  }
  return shipped;
}

// Opens the directory the site reads people from. A directory file that cannot be read or
// parsed stops the start, as nobody could sign in to a team page; an LDAP server that does not
// answer yet only warns, as it is asked again on every page.
std::optional<std::string> OpenSiteDirectory(const std::string& source, const std::string& credentials,
                                             std::shared_ptr<const directory::Directory>& opened, std::ostream& err) {
  auto directory = directory::OpenDirectory(source, credentials);
  if (!directory.ok()) return source + ": " + directory.status().description();
  auto naming_context = (*directory)->NamingContext();
  if (dynamic_cast<const directory::LdifDirectory*>(directory->get()) != nullptr) {
    if (!naming_context.ok()) return naming_context.status().description();
    auto accounts = (*directory)->Accounts();
    if (!accounts.ok()) return accounts.status().description();
  } else if (!naming_context.ok()) {
    err << "orbitel serve: warning: the directory " << source << " does not answer ("
        << naming_context.status().description() << "); serving anyway, it is asked again on every page\n";
  }
  opened = *directory;
  return std::nullopt;
}

// Warns of a site that can be reached from other computers and still signs in as shipped.
void WarnOfShippedSignIns(const fs::path& site_folder, const ServeOptions& options, std::ostream& err) {
  if (IsLoopback(options.address)) return;
  for (const std::string& sign_in : ShippedSignIns(site_folder)) {
    err << "orbitel serve: warning: the site " << site_folder.string() << " still signs in with the shipped "
        << sign_in << " and answers on " << (options.address.empty() ? "every address" : options.address)
        << "; change it on the options page\n";
  }
}

void RemoveInterruptedSaves(const fs::path& site_folder, std::ostream& err) {
  // What a crash in the middle of a save left behind is of no use to anyone.
  if (const int removed = data::RemoveLeftoverTemporaries(site_folder); removed > 0) {
    err << "orbitel serve: removed " << removed << " temporary file(s) of interrupted saves in "
        << site_folder.string() << "\n";
  }
}

// Every site folder (one with a templates/ folder) right under `folder`, in the order of their
// names, each with its own store under <site>/store and its own directory: the --directory
// given (opened once and shared), else its own directory.ldif.
Result<std::vector<ServedSite>> FindSites(const fs::path& folder, const ServeOptions& options,
                                          const std::optional<data::StoreCredentials>& store_credentials,
                                          std::ostream& err) {
  std::error_code error;
  if (!fs::is_directory(folder, error)) {
    return Status::Error(1, "the sites folder " + folder.string() + " does not exist");
  }
  std::shared_ptr<const directory::Directory> shared_directory;
  if (options.directory) {
    if (auto problem = OpenSiteDirectory(*options.directory, options.directory_credentials.value_or(""),
                                         shared_directory, err)) {
      return Status::Error(1, *problem);
    }
  }
  std::vector<fs::path> folders;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    if (entry.is_directory(error) && fs::is_directory(entry.path() / "templates", error)) folders.push_back(entry.path());
  }
  std::sort(folders.begin(), folders.end());
  std::vector<ServedSite> sites;
  for (const fs::path& site_folder : folders) {
    const std::string name = site_folder.filename().string();
    if (!IsSiteName(name)) {
      err << "orbitel serve: warning: the site folder " << site_folder.string()
          << " is left out: a site's name may hold only letters, digits, '-', '_' and '.'\n";
      continue;
    }
    std::shared_ptr<const directory::Directory> directory = shared_directory;
    if (!shared_directory && fs::exists(site_folder / "directory.ldif")) {
      if (auto problem = OpenSiteDirectory((site_folder / "directory.ldif").string(), "", directory, err)) {
        return Status::Error(1, *problem);
      }
    }
    data::StoreSettings stores((site_folder / "store").string());
    stores.credentials = store_credentials;
    stores.caldav_mirror = true;
    auto services = std::make_shared<site::SiteServices>(site::MakeSiteServices(std::move(directory), std::move(stores)));
    sites.push_back(ServedSite{name, site_folder, std::move(services), {}, {}});
  }
  if (sites.empty()) {
    return Status::Error(1, "the sites folder " + folder.string() +
                                " holds no site folder (a folder with a templates/ folder, as in " +
                                ShippedSiteFolder().string() + ")");
  }
  return sites;
}

// Keeps each site's CalDAV calendars in step in the background for as long as the server runs
// (a site on the local store has none to keep).
std::vector<std::unique_ptr<data::MirrorRefresher>> StartMirrors(const ServerSettings& settings,
                                                                 std::ostream& err) {
  std::vector<std::unique_ptr<data::MirrorRefresher>> mirrors;
  for (const ServedSite& site : settings.sites) {
    mirrors.push_back(std::make_unique<data::MirrorRefresher>(
        site.services->stores,
        [services = site.services, path = site.folder.string() + "/"] {
          const site::UsingServices bound(*services);
          return site::SiteMirrorPlan(path);
        },
        &err));
  }
  return mirrors;
}

}  // namespace

void PrintServeUsage(std::ostream& out) {
  out << "Usage: orbitel serve [--site DIR | --sites DIR] [--listen ADDRESS:PORT] [--threads N]\n"
         "                     [--page-cache MB]\n"
         "                     [--directory URI [--directory-credentials FILE]]\n"
         "                     [--store-root DIR] [--store-credentials FILE]\n"
         "                     [--trusted-proxy ADDRESS]... [--secure-cookies]\n"
         "\n"
         "  --site DIR          the site folder (templates, pictures, settings and user files);\n"
         "                      without it, the demo site in " << DemoSiteFolder().string() << "\n"
         "  --sites DIR         every site folder in DIR, each at /<folder>/ with its own store\n"
         "                      (<folder>/store) and, without --directory, its directory.ldif\n"
         "  --listen A:P        where to answer (default 127.0.0.1:8080; port 0 picks a free one)\n"
         "  --threads N         request threads (default 32)\n"
         "  --page-cache MB     memory for the team and personal pages kept once made\n"
         "                      (default 64; 0 keeps none)\n"
         "  --directory URI     file:/path/directory.ldif or ldap://host:port/\n"
         "                      (default <site>/directory.ldif)\n"
         "  --directory-credentials FILE\n"
         "                      \"dn: ...\" and \"password: ...\" lines to bind to LDAP with\n"
         "  --store-root DIR    the local calendar store (default <site>/store)\n"
         "  --store-credentials FILE\n"
         "                      \"user: ...\" and \"password: ...\" lines for a CalDAV store\n"
         "  --trusted-proxy ADDRESS\n"
         "                      a reverse proxy whose X-Forwarded-For and X-Forwarded-Proto are\n"
         "                      believed (repeatable)\n"
         "  --secure-cookies    mark the session cookie Secure (the site is reached over HTTPS)\n";
}

int RunServeCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  ServeOptions options;
  bool help = false;
  const std::optional<std::string> problem = ParseOptions(args, options, help);
  if (help) {
    PrintServeUsage(out);
    return 0;
  }
  if (problem) {
    err << "orbitel serve: " << *problem << " (orbitel serve --help shows the options)\n";
    return 2;
  }

  // The credentials files are read before anything else, so a missing one stops the start
  // before the site is touched.
  if (options.directory_credentials) {
    auto credentials = directory::ReadCredentialsFile(*options.directory_credentials);
    if (!credentials.ok()) {
      err << "orbitel serve: " << credentials.status().description() << "\n";
      return 1;
    }
  }
  std::optional<data::StoreCredentials> store_credentials;
  if (options.store_credentials) {
    auto credentials = data::ReadStoreCredentials(*options.store_credentials);
    if (!credentials.ok()) {
      err << "orbitel serve: " << credentials.status().description() << "\n";
      return 1;
    }
    store_credentials = *credentials;
  }

  ServerSettings settings;
  const bool demo = !options.site && !options.sites;
  std::string serving;  // what the start line names
  if (options.sites) {
    Result<std::vector<ServedSite>> sites = FindSites(fs::absolute(*options.sites), options, store_credentials, err);
    if (!sites.ok()) {
      err << "orbitel serve: " << sites.status().description() << "\n";
      return 1;
    }
    for (const ServedSite& site : *sites) {
      WarnOfShippedSignIns(site.folder, options, err);
      RemoveInterruptedSaves(site.folder, err);
      serving += (serving.empty() ? "" : ", ") + site.name + "/";
    }
    serving = std::to_string(sites->size()) + " site(s) of " + fs::absolute(*options.sites).string() + " (" +
              serving + ")";
    settings.sites = std::move(sites).value();
  } else {
    if (demo) {
      options.site = DemoSiteFolder();
      Status prepared = PrepareDemoSite(ShippedSiteFolder(), *options.site, out);
      if (!prepared.ok()) {
        err << "orbitel serve: " << prepared.description() << "\n";
        return 1;
      }
    }
    std::error_code error;
    const fs::path site_folder = fs::weakly_canonical(fs::absolute(*options.site), error);
    if (error || !fs::is_directory(site_folder)) {
      err << "orbitel serve: the site folder " << options.site->string() << " does not exist\n";
      return 1;
    }
    if (!fs::is_directory(site_folder / "templates")) {
      err << "orbitel serve: the site folder " << site_folder.string()
          << " has no templates/ folder; copy templates/, images/, help/ and styles/ from "
          << ShippedSiteFolder().string() << " into it\n";
      return 1;
    }

    std::shared_ptr<const directory::Directory> directory;
    std::string directory_source = options.directory.value_or("");
    if (directory_source.empty() && fs::exists(site_folder / "directory.ldif")) {
      directory_source = (site_folder / "directory.ldif").string();
    }
    if (!directory_source.empty()) {
      auto problem =
          OpenSiteDirectory(directory_source, options.directory_credentials.value_or(""), directory, err);
      if (problem) {
        err << "orbitel serve: " << *problem << "\n";
        return 1;
      }
    }
    data::StoreSettings stores(
        (options.store_root ? fs::absolute(*options.store_root) : site_folder / "store").string());
    stores.credentials = store_credentials;
    stores.caldav_mirror = true;
    WarnOfShippedSignIns(site_folder, options, err);
    RemoveInterruptedSaves(site_folder, err);
    auto services = std::make_shared<site::SiteServices>(site::MakeSiteServices(std::move(directory), std::move(stores)));
    settings.sites.push_back(ServedSite{"", site_folder, std::move(services), {}, {}});
    serving = site_folder.string();
  }

  // SIGINT and SIGTERM are taken by one thread that stops the server; every other thread,
  // the request threads included, has them blocked.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

  settings.address = options.address;
  settings.port = options.port;
  settings.threads = options.threads;
  settings.page_cache_bytes = static_cast<std::size_t>(options.page_cache_mb) << 20;
  settings.trusted_proxies = options.trusted_proxies;
  settings.secure_cookies = options.secure_cookies;
  settings.access_log = &out;
  settings.error_log = &err;
  WebServer server(settings);
  Result<int> port = server.Bind();
  if (!port.ok()) {
    err << "orbitel serve: " << port.status().description() << "\n";
    return 1;
  }
  const bool ipv6 = options.address.find(':') != std::string::npos;
  out << "Orbitel is serving " << serving << " at http://"
      << (ipv6 ? "[" + options.address + "]" : options.address) << ":" << *port << "/\n";
  if (demo) PrintDemoSignIn(settings.sites.front(), out);
  out << "Press Ctrl+C to stop." << std::endl;

  std::thread stopper([&server, stop_signals] {
    int signal_number = 0;
    sigwait(&stop_signals, &signal_number);
    server.Stop();
  });
  std::vector<std::unique_ptr<data::MirrorRefresher>> mirrors = StartMirrors(settings, err);
  server.Serve();
  mirrors.clear();
  // Serve may end without a signal (the socket failed); wake the stopper so it can be joined.
  pthread_kill(stopper.native_handle(), SIGTERM);
  stopper.join();
  out << "Orbitel stopped." << std::endl;
  return 0;
}

}  // namespace orbitel::host
