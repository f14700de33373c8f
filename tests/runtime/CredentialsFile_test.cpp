#include "runtime/CredentialsFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <tuple>

#include "TempFolder.h"

namespace orbitel {
namespace {

// A decoder that takes only "c2VjcmV0" (base64 of "secret").
std::optional<std::string> Decode(std::string_view text) {
  return text == "c2VjcmV0" ? std::optional<std::string>("secret") : std::nullopt;
}

// What was read: the values joined by "|", or the fault as "kind@line name".
std::string Read(const std::string& path, const CredentialsFormat& format) {
  auto read = ReadCredentials(path, format);
  if (const auto* fault = std::get_if<CredentialsFault>(&read)) {
    return std::to_string(fault->kind) + "@" + std::to_string(fault->line) + " " + fault->name;
  }
  std::string values;
  for (const std::string& value : std::get<std::vector<std::string>>(read)) values += value + "|";
  return values;
}

TEST(CredentialsFile, ReadsValuesAndNamesTheFault) {
  const std::filesystem::path folder = testing::MakeTempFolder("orbitel-credentials");
  const std::string path = (folder / "credentials").string();
  const CredentialsFormat plain{{"user", "password"}}, ldif{{"dn", "password"}, Decode, false};
  using F = CredentialsFault;
  const auto fault = [](F::Kind kind, int line, const std::string& name) {
    return std::to_string(kind) + "@" + std::to_string(line) + " " + name;
  };
  const std::tuple<std::string, const CredentialsFormat*, std::string> cases[] = {
      {"# the account\r\n\r\n  User :\torbitel \r\nPASSWORD: a:b c\t\n", &plain, "orbitel|a:b c|"},
      {"password::c2VjcmV0\nuser:\n", &plain, "|:c2VjcmV0|"},  // no base64 here, empty values taken
      {"dn: cn=x\npassword::  c2VjcmV0 \n", &ldif, "cn=x|secret|"},
      {"user orbitel\n", &plain, fault(F::kNoColon, 1, "")},
      {"user: a\n\nlogin: b\n", &plain, fault(F::kUnknownName, 3, "login")},
      {"user: a\nUSER: b\n", &plain, fault(F::kRepeated, 2, "USER")},
      {"dn: x\npassword:: c2VjcmV0=\n", &ldif, fault(F::kNotBase64, 2, "password")},
      {"dn:\npassword: p\n", &ldif, fault(F::kEmpty, 1, "dn")},
      {"user: a\n", &plain, fault(F::kMissing, 0, "password")},
      {std::string(70000, '#'), &plain, fault(F::kTooLarge, 0, "")},
  };
  for (const auto& [text, format, expected] : cases) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    EXPECT_EQ(Read(path, *format), expected) << text;
  }
  auto missing = ReadCredentials((folder / "missing").string(), plain);
  EXPECT_EQ(std::get<CredentialsFault>(missing).kind, F::kNotFound);
  auto folder_read = ReadCredentials(folder.string(), plain);
  EXPECT_EQ(std::get<CredentialsFault>(folder_read).kind, F::kCannotRead);
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace orbitel
