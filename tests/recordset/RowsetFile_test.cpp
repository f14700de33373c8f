// The users and settings files in ADO's persisted-rowset layout: read, written back, and saved
// whole or not at all.
#include "recordset/RowsetFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "ServerProcess.h"
#include "TempFolder.h"
#include "runtime/ErrorNumbers.h"

namespace orbitel::data {
namespace {

namespace fs = std::filesystem;
using orbitel::testing::ReadWholeFile;

// The shipped users file, as ADO writes it, holding one user.
std::string UsersFile() {
  std::string text = ReadWholeFile("www/OrbitelUsers.xml");
  return text.insert(text.find("</rs:data>"), "\t<z:row Users='alice'/>\n");
}

class RowsetFileTest : public ::testing::Test {
 protected:
  void SetUp() override { folder = orbitel::testing::MakeTempFolder("orbitel-rowset"); }
  void TearDown() override { fs::remove_all(folder); }

  fs::path Write(const std::string& name, const std::string& content) {
    std::ofstream(folder / name, std::ios::binary) << content;
    return folder / name;
  }
  std::vector<std::string> Entries() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  fs::path folder;
};

// Saved unchanged, the shipped file is written back byte for byte; saved with a pending new row,
// the row is in and the file keeps its permissions.
TEST_F(RowsetFileTest, ReadsAndWritesTheAdoLayout) {
  const fs::path path = Write("OrbitelUsers.xml", UsersFile());
  ::chmod(path.c_str(), 0640);
  Recordset users;
  ASSERT_TRUE(OpenRowsetFile(path, users).ok());
  EXPECT_EQ(users.Field("Users")->Text(), "alice");
  ASSERT_TRUE(SaveRowsetFile(users, path).ok());
  EXPECT_EQ(ReadWholeFile(path), UsersFile());
  EXPECT_EQ(Entries(), (std::vector<std::string>{"OrbitelUsers.xml", "OrbitelUsers.xml.lock"}));
  ASSERT_TRUE(users.AddNew().ok());
  ASSERT_TRUE(users.SetField("Users", std::string("bob")).ok());
  ASSERT_TRUE(SaveRowsetFile(users, path).ok());
  Recordset loaded;
  ASSERT_TRUE(OpenRowsetFile(path, loaded).ok());
  EXPECT_EQ(loaded.rows(), (std::vector<std::vector<Value>>{{Value("alice")}, {Value("bob")}}));
  EXPECT_EQ(fs::status(path).permissions() & fs::perms::all,
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  Recordset closed;
  EXPECT_EQ(SaveRowsetFile(closed, path).number(), errors::kOperationOnClosedObject);
}

TEST_F(RowsetFileTest, ToleratesWhatOtherWritersPutInTheFile) {
  // Other prefixes, a field named apart from its attribute, no datatype, batch wrappers, and a
  // row that leaves a field out.
  const fs::path path = Write("settings.xml", R"(<?xml version="1.0"?>
<xml xmlns:a="uuid:BDC6E3F0-6DA3-11d1-A2A3-00AA00C14882" xmlns:b="urn:schemas-microsoft-com:rowset"
     xmlns:d="uuid:C2F41010-65B3-11d1-A29F-00AA00C14882" xmlns:r="#RowsetSchema">
  <a:Schema id="RowsetSchema"><a:ElementType name="row" content="eltOnly">
      <a:AttributeType name="c0" b:name="First Name"><a:datatype d:type="string"/></a:AttributeType>
      <a:AttributeType name="Age" d:type="int"/>
      <a:AttributeType name="Note"/>
  </a:ElementType></a:Schema>
  <b:data>
    <r:row c0="Ann" Age="31" Note="a&#xA;b"/>
    <b:insert><r:row c0="Ben"/></b:insert>
    <b:update><b:original><r:row c0="Old"/></b:original><r:row c0="New"/></b:update>
    <b:delete><r:row c0="Gone"/></b:delete>
  </b:data>
</xml>)");
  Recordset settings;
  ASSERT_TRUE(OpenRowsetFile(path, settings).ok());
  EXPECT_EQ(settings.fields()[1].type, "int");
  ASSERT_EQ(settings.rows().size(), 3u);
  EXPECT_EQ(settings.rows()[0], (std::vector<Value>{Value("Ann"), Value("31"), Value("a\nb")}));
  EXPECT_EQ(settings.rows()[1], (std::vector<Value>{Value("Ben"), Value(), Value()}));
  EXPECT_EQ(settings.rows()[2][0], Value("New"));

  // The odd field name survives a save too.
  ASSERT_TRUE(SaveRowsetFile(settings, path).ok());
  Recordset again;
  ASSERT_TRUE(OpenRowsetFile(path, again).ok());
  EXPECT_EQ(again.fields()[0].name, "First Name");
  EXPECT_EQ(again.rows(), settings.rows());
}

TEST_F(RowsetFileTest, AnyTextSurvivesARoundTrip) {
  Recordset original({FieldInfo{"Users"}, FieldInfo{"Note"}},
                     {{Value("He said \"it's <b>5 & 6</b>\"\nnext line\r\n\ttab  and  spaces "), Value("")},
                      {Value("o'brien"), Value()}});
  ASSERT_TRUE(SaveRowsetFile(original, folder / "round.xml").ok());
  Recordset loaded;
  ASSERT_TRUE(OpenRowsetFile(folder / "round.xml", loaded).ok());
  EXPECT_EQ(loaded.rows(), original.rows());
}

TEST_F(RowsetFileTest, MissingAndMalformedFilesLeaveTheRecordsetClosed) {
  Recordset recordset({FieldInfo{"Users"}}, {{Value("x")}});
  EXPECT_EQ(OpenRowsetFile(folder / "nothing.xml", recordset).number(), errors::kFileNotFound);
  EXPECT_FALSE(recordset.IsOpen());

  const fs::path broken = Write("broken.xml", std::string(UsersFile()).substr(0, 300));
  Status malformed = OpenRowsetFile(broken, recordset);
  EXPECT_EQ(malformed.number(), errors::kPersistedFileInvalid);
  EXPECT_TRUE(malformed.description().find(broken.string()) != std::string::npos &&
              malformed.description().find(" at offset ") != std::string::npos);

  const fs::path no_schema = Write("plain.xml", "<xml><data/></xml>");
  EXPECT_EQ(OpenRowsetFile(no_schema, recordset).number(), errors::kPersistedFileInvalid);
  EXPECT_EQ(OpenRowsetFile(folder, recordset).number(), errors::kPersistedFileInvalid);
  // Reading never leaves anything behind, not even a lock file.
  EXPECT_EQ(Entries(), (std::vector<std::string>{"broken.xml", "plain.xml"}));
}

TEST_F(RowsetFileTest, AFailedSaveLeavesTheTargetAndNoTemporaryFile) {
  Recordset users({FieldInfo{"Users"}}, {{Value("alice")}});
  EXPECT_EQ(SaveRowsetFile(users, folder / "missing" / "users.xml").number(), errors::kPermissionDenied);

  // A folder in the way: the temporary file is written, then the rename fails.
  const fs::path blocked = folder / "users.xml";
  fs::create_directory(blocked);
  Write("users.xml/keep", "x");
  EXPECT_EQ(SaveRowsetFile(users, blocked).number(), errors::kPermissionDenied);
  EXPECT_EQ(Entries(), (std::vector<std::string>{"users.xml", "users.xml.lock"}));
  EXPECT_EQ(ReadWholeFile(blocked / "keep"), "x");
}

// Two writers save different lists over and over while a reader keeps loading: every load
// succeeds and sees one writer's whole list.
TEST_F(RowsetFileTest, ConcurrentWritersNeverShowAPartialFile) {
  const fs::path path = folder / "users.xml";
  std::vector<std::vector<Value>> lists[2];
  for (int i = 0; i < 300; ++i) {
    if (i < 40) lists[0].push_back({Value("first-" + std::to_string(i))});
    lists[1].push_back({Value("second-" + std::to_string(i))});
  }
  Recordset initial({FieldInfo{"Users"}}, lists[0]);
  ASSERT_TRUE(SaveRowsetFile(initial, path).ok());
  std::atomic<bool> writing{true};
  std::atomic<int> failed_saves{0}, loads{0};
  std::vector<std::thread> writers;
  for (const auto& rows : lists) {
    writers.emplace_back([&path, &failed_saves, rows] {
      Recordset recordset({FieldInfo{"Users"}}, rows);
      for (int i = 0; i < 200; ++i) failed_saves += !SaveRowsetFile(recordset, path).ok();
    });
  }
  std::thread reader([&] {
    while (writing) {
      Recordset loaded;
      const Status status = OpenRowsetFile(path, loaded);
      ASSERT_TRUE(status.ok()) << status.description();
      ASSERT_TRUE(loaded.rows() == lists[0] || loaded.rows() == lists[1]);
      ++loads;
    }
  });
  for (std::thread& writer : writers) writer.join();
  writing = false;
  reader.join();
  EXPECT_EQ(failed_saves, 0);
  EXPECT_GT(loads, 0);
  EXPECT_EQ(Entries(), (std::vector<std::string>{"users.xml", "users.xml.lock"}));
}

}  // namespace
}  // namespace orbitel::data
