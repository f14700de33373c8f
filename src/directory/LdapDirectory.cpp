#include "directory/LdapDirectory.h"

#include <lber.h>
#include <ldap.h>
#include <pthread.h>
#include <signal.h>
#include <sys/time.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "directory/AccountRules.h"
#include "directory/DirectoryErrors.h"
#include "runtime/Conversions.h"

namespace orbitel::directory {
namespace {

struct SessionDeleter {
  void operator()(LDAP* ld) const { ldap_unbind_ext_s(ld, nullptr, nullptr); }
};
struct MessageDeleter {
  void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
};
struct BerDeleter {
  void operator()(BerElement* ber) const { ber_free(ber, 0); }
};
struct ValuesDeleter {
  void operator()(berval** values) const { ldap_value_free_len(values); }
};
struct MemoryDeleter {  // attribute names and diagnostic messages libldap hands out
  void operator()(char* text) const { ldap_memfree(text); }
};
struct ControlDeleter {
  void operator()(LDAPControl* control) const { ldap_control_free(control); }
};
struct ControlsDeleter {
  void operator()(LDAPControl** controls) const { ldap_controls_free(controls); }
};

using Session = std::unique_ptr<LDAP, SessionDeleter>;
using Message = std::unique_ptr<LDAPMessage, MessageDeleter>;
using Ber = std::unique_ptr<BerElement, BerDeleter>;
using Values = std::unique_ptr<berval*, ValuesDeleter>;
using LdapText = std::unique_ptr<char, MemoryDeleter>;
using Control = std::unique_ptr<LDAPControl, ControlDeleter>;
using Controls = std::unique_ptr<LDAPControl*, ControlsDeleter>;

// A berval whose bytes libldap allocated: the paged results cookie.
class Cookie {
 public:
  Cookie() = default;
  Cookie(const Cookie&) = delete;
  Cookie& operator=(const Cookie&) = delete;
  ~Cookie() {
    if (value_.bv_val != nullptr) ber_memfree(value_.bv_val);
  }
  void Swap(Cookie& other) { std::swap(value_, other.value_); }
  berval* get() { return &value_; }
  bool empty() const { return value_.bv_len == 0; }

 private:
  berval value_{0, nullptr};
};

// libldap writes to its socket with write(): a connection the server has closed would raise
// SIGPIPE, whose default action ends the program. The signal is held for this thread while
// libldap runs, and one raised meanwhile is taken away.
class SigpipeHeld {
 public:
  SigpipeHeld() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    pending_before_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &previous_);
  }
  SigpipeHeld(const SigpipeHeld&) = delete;
  SigpipeHeld& operator=(const SigpipeHeld&) = delete;
  ~SigpipeHeld() {
    int saved_errno = errno;
    sigset_t pending;
    sigpending(&pending);
    if (!pending_before_ && sigismember(&pending, SIGPIPE) == 1) {
      timespec now{0, 0};
      while (sigtimedwait(&pipe_, nullptr, &now) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    errno = saved_errno;
  }

 private:
  sigset_t pipe_;
  sigset_t previous_;
  bool pending_before_ = false;
};

// libldap's own failures (no answer, lost connection, timeouts) have negative codes; after one
// the session is not used again.
bool IsClientFailure(int code) { return code < 0; }

bool IsUnreachable(int code) {
  return code == LDAP_SERVER_DOWN || code == LDAP_CONNECT_ERROR || code == LDAP_TIMEOUT;
}

std::string DiagnosticOf(LDAP* ld) {
  char* raw = nullptr;
  if (ld == nullptr || ldap_get_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, &raw) != LDAP_OPT_SUCCESS) {
    return {};
  }
  LdapText text(raw);
  return text ? std::string(text.get()) : std::string();
}

// The values of one attribute of an entry, from libldap's copy.
std::vector<std::string> ValuesOf(LDAP* ld, LDAPMessage* entry, const char* name) {
  std::vector<std::string> values;
  Values raw(ldap_get_values_len(ld, entry, name));
  if (!raw) return values;
  for (berval** value = raw.get(); *value != nullptr; ++value) {
    values.emplace_back((*value)->bv_val, (*value)->bv_len);
  }
  return values;
}

std::string FirstValueOf(LDAP* ld, LDAPMessage* entry, const char* name) {
  for (std::string& value : ValuesOf(ld, entry, name)) {
    if (!value.empty()) return std::move(value);
  }
  return {};
}

struct Attribute {
  std::string name;
  std::vector<std::string> values;
};

// Every attribute the server sent with the entry, in its order.
std::vector<Attribute> AttributesOf(LDAP* ld, LDAPMessage* entry) {
  std::vector<Attribute> attributes;
  BerElement* raw_ber = nullptr;
  LdapText name(ldap_first_attribute(ld, entry, &raw_ber));
  Ber ber(raw_ber);
  while (name) {
    attributes.push_back({name.get(), ValuesOf(ld, entry, name.get())});
    if (!ber) break;
    name.reset(ldap_next_attribute(ld, entry, ber.get()));
  }
  return attributes;
}

std::optional<Account> AccountOfEntry(LDAP* ld, LDAPMessage* entry) {
  std::vector<Attribute> attributes = AttributesOf(ld, entry);
  return AccountOf([&attributes](std::string_view name) {
    std::vector<std::string_view> values;
    for (const Attribute& attribute : attributes) {
      if (!EqualsIgnoringCase(attribute.name, name)) continue;
      values.insert(values.end(), attribute.values.begin(), attribute.values.end());
    }
    return values;
  });
}

// The server part of each blank-separated address ("ldap://dc01:389/DC=corp" ->
// "ldap://dc01:389/"): libldap refuses an address with a DN.
std::string ServerAddressesOf(std::string_view uri) {
  std::string servers;
  while (!uri.empty()) {
    std::size_t blank = uri.find_first_of(" \t");
    std::string_view address = uri.substr(0, blank);
    uri = blank == std::string_view::npos ? std::string_view() : uri.substr(blank + 1);
    if (address.empty()) continue;
    std::size_t host = address.find("://");
    std::size_t slash =
        address.find('/', host == std::string_view::npos ? 0 : host + 3);
    if (slash != std::string_view::npos) address = address.substr(0, slash + 1);
    if (!servers.empty()) servers.push_back(' ');
    servers += address;
  }
  return servers;
}

timeval TimevalOf(std::chrono::seconds seconds) {
  return timeval{static_cast<time_t>(seconds.count()), 0};
}

}  // namespace

// One libldap session. Marked broken after a failure of the connection itself, so the next
// call opens another.
class LdapDirectory::Connection {
 public:
  explicit Connection(Session session) : session_(std::move(session)) {}
  LDAP* get() const { return session_.get(); }

  // The error for a failed operation, in the directory's numbers and words.
  Status Failure(const std::string& uri, int code, const std::string& doing) {
    if (IsClientFailure(code)) broken_ = true;
    std::string reason = ldap_err2string(code);
    std::string diagnostic = DiagnosticOf(session_.get());
    if (!diagnostic.empty() && diagnostic != reason) reason += " (" + diagnostic + ")";
    if (IsUnreachable(code)) {
      return Status::Error(errors::kDirectoryServerDown, "The directory server " + uri +
                                                             " is not available (" + doing +
                                                             "): " + reason);
    }
    return Status::Error(errors::kDirectoryOperationFailed,
                         "The directory server " + uri + " failed " + doing + ": " + reason);
  }
  bool broken() const { return broken_; }

 private:
  Session session_;
  bool broken_ = false;
};

LdapDirectory::LdapDirectory(std::string uri, Options options)
    : uri_(std::move(uri)), servers_(ServerAddressesOf(uri_)), options_(std::move(options)) {
  if (options_.page_size < 1) options_.page_size = 1;
}

LdapDirectory::~LdapDirectory() = default;

Result<std::shared_ptr<const LdapDirectory>> LdapDirectory::Open(std::string uri,
                                                                  Options options) {
  // libldap checks the address without connecting.
  LDAP* raw = nullptr;
  int code = ldap_initialize(&raw, ServerAddressesOf(uri).c_str());
  Session session(raw);
  if (code != LDAP_SUCCESS || !session) {
    return Status::Error(errors::kInvalidDirectoryAddress, "Unsupported directory address: " +
                                                               uri + " (" +
                                                               ldap_err2string(code) + ")");
  }
  return std::shared_ptr<const LdapDirectory>(new LdapDirectory(std::move(uri), std::move(options)));
}

Result<LdapDirectory::Connection*> LdapDirectory::Connected() const {
  if (connection_) return connection_.get();
  LDAP* raw = nullptr;
  int code = ldap_initialize(&raw, servers_.c_str());
  Session session(raw);
  if (code != LDAP_SUCCESS || !session) {
    return Status::Error(errors::kInvalidDirectoryAddress, "Unsupported directory address: " +
                                                               uri_ + " (" +
                                                               ldap_err2string(code) + ")");
  }
  int version = LDAP_VERSION3;
  timeval connect_timeout = TimevalOf(options_.connect_timeout);
  timeval answer_timeout = TimevalOf(options_.answer_timeout);
  ldap_set_option(session.get(), LDAP_OPT_PROTOCOL_VERSION, &version);
  ldap_set_option(session.get(), LDAP_OPT_NETWORK_TIMEOUT, &connect_timeout);
  ldap_set_option(session.get(), LDAP_OPT_TIMEOUT, &answer_timeout);
  // Active Directory answers a search at the domain's top with references to its other
  // partitions; following them would bind anonymously to further servers.
  ldap_set_option(session.get(), LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  ldap_set_option(session.get(), LDAP_OPT_RESTART, LDAP_OPT_ON);

  auto connection = std::make_unique<Connection>(std::move(session));
  if (options_.credentials) {
    const BindCredentials& credentials = *options_.credentials;
    berval password{static_cast<ber_len_t>(credentials.password.size()),
                    const_cast<char*>(credentials.password.data())};
    code = ldap_sasl_bind_s(connection->get(), credentials.dn.c_str(), LDAP_SASL_SIMPLE, &password,
                            nullptr, nullptr, nullptr);
    if (code == LDAP_INVALID_CREDENTIALS) {
      return Status::Error(errors::kDirectoryLogonFailure,
                           "The directory server " + uri_ + " refused the password for " +
                               credentials.dn + ": " + ldap_err2string(code));
    }
    if (code != LDAP_SUCCESS) {
      return connection->Failure(uri_, code, "binding as " + credentials.dn);
    }
  }
  connection_ = std::move(connection);
  return connection_.get();
}

template <typename T>
Result<T> LdapDirectory::WithConnection(Result<T> (LdapDirectory::*operation)(Connection&) const)
    const {
  std::lock_guard<std::mutex> lock(mutex_);
  SigpipeHeld sigpipe_held;
  for (int attempt = 0;; ++attempt) {
    bool reused = connection_ != nullptr;
    Result<Connection*> connection = Connected();
    if (!connection.ok()) return connection.status();
    Result<T> result = (this->*operation)(**connection);
    if (result.ok() || !(*connection)->broken()) return result;
    connection_.reset();
    // A connection left from earlier calls may have been dropped by the server meanwhile; a
    // fresh one that fails is the answer.
    if (!reused || attempt > 0) return result;
  }
}

Result<std::string> LdapDirectory::ReadNamingContext(Connection& connection) const {
  LDAP* ld = connection.get();
  char default_naming_context[] = "defaultNamingContext";
  char naming_contexts[] = "namingContexts";
  char* attributes[] = {default_naming_context, naming_contexts, nullptr};
  LDAPMessage* raw = nullptr;
  int code = ldap_search_ext_s(ld, "", LDAP_SCOPE_BASE, "(objectClass=*)", attributes, 0, nullptr,
                               nullptr, nullptr, 0, &raw);
  Message result(raw);
  if (code != LDAP_SUCCESS) return connection.Failure(uri_, code, "reading its root entry");
  LDAPMessage* entry = ldap_first_entry(ld, result.get());
  if (entry == nullptr) {
    return Status::Error(errors::kDirectoryNoSuchObject,
                         "The directory server " + uri_ + " does not show its root entry");
  }
  std::string naming_context = FirstValueOf(ld, entry, default_naming_context);
  if (naming_context.empty()) naming_context = FirstValueOf(ld, entry, naming_contexts);
  if (naming_context.empty()) {
    return Status::Error(errors::kDirectoryNoSuchObject,
                         "The directory server " + uri_ +
                             " names no naming context (its root entry has neither "
                             "defaultNamingContext nor namingContexts)");
  }
  return naming_context;
}

Result<std::vector<Account>> LdapDirectory::SearchAccounts(Connection& connection) const {
  Result<std::string> base = ReadNamingContext(connection);
  if (!base.ok()) return base.status();
  LDAP* ld = connection.get();
  std::vector<std::string> names(AccountAttributeNames().begin(), AccountAttributeNames().end());
  std::vector<char*> attributes;
  for (std::string& name : names) attributes.push_back(name.data());
  attributes.push_back(nullptr);
  std::string filter = AccountSearchFilter();
  const std::string doing = "searching for accounts under " + *base;

  std::vector<Account> accounts;
  std::size_t entries = 0;
  Cookie cookie;  // empty for the first page
  for (;;) {
    LDAPControl* raw_control = nullptr;
    // Not critical: a server without paged results sends everything in one answer.
    int code = ldap_create_page_control(ld, options_.page_size, cookie.get(), 0, &raw_control);
    Control page_request(raw_control);
    if (code != LDAP_SUCCESS) return connection.Failure(uri_, code, doing);
    LDAPControl* server_controls[] = {page_request.get(), nullptr};

    LDAPMessage* raw = nullptr;
    code = ldap_search_ext_s(ld, base->c_str(), LDAP_SCOPE_SUBTREE, filter.data(),
                             attributes.data(), 0, server_controls, nullptr, nullptr, 0, &raw);
    Message result(raw);
    if (result) {
      for (LDAPMessage* entry = ldap_first_entry(ld, result.get()); entry != nullptr;
           entry = ldap_next_entry(ld, entry)) {
        ++entries;
        if (std::optional<Account> account = AccountOfEntry(ld, entry)) {
          accounts.push_back(std::move(*account));
        }
      }
    }
    if (code == LDAP_SIZELIMIT_EXCEEDED || code == LDAP_ADMINLIMIT_EXCEEDED) {
      bool size = code == LDAP_SIZELIMIT_EXCEEDED;
      std::string diagnostic = DiagnosticOf(ld);
      return Status::Error(
          size ? errors::kDirectorySizeLimitExceeded : errors::kDirectoryAdminLimitExceeded,
          "The directory server " + uri_ + " stopped the account search under " + *base +
              " at its " + (size ? "size limit" : "administrative limit") + " after " +
              std::to_string(entries) + " entries (" + std::to_string(accounts.size()) +
              " accounts), so the account list would be incomplete" +
              (diagnostic.empty() ? std::string() : ": " + diagnostic));
    }
    if (code != LDAP_SUCCESS) return connection.Failure(uri_, code, doing);

    // The page's answer carries the cookie for the next page; an empty one ends the search.
    int result_code = LDAP_SUCCESS;
    LDAPControl** raw_controls = nullptr;
    code = ldap_parse_result(ld, result.get(), &result_code, nullptr, nullptr, nullptr,
                             &raw_controls, 0);
    Controls response_controls(raw_controls);
    if (code != LDAP_SUCCESS) return connection.Failure(uri_, code, doing);
    LDAPControl* page_response =
        ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, response_controls.get(), nullptr);
    if (page_response == nullptr) break;
    Cookie next;
    ber_int_t estimate = 0;
    code = ldap_parse_pageresponse_control(ld, page_response, &estimate, next.get());
    if (code != LDAP_SUCCESS) return connection.Failure(uri_, code, doing);
    if (next.empty()) break;
    cookie.Swap(next);
  }
  return accounts;
}

Result<std::string> LdapDirectory::NamingContext() const {
  return WithConnection(&LdapDirectory::ReadNamingContext);
}

Result<std::vector<Account>> LdapDirectory::Accounts() const {
  return WithConnection(&LdapDirectory::SearchAccounts);
}

}  // namespace orbitel::directory
