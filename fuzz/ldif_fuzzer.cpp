// LDIF: the input read as entries, then as the directory file of a site, whose naming context
// and accounts the pages ask for. The file lives in the run's scratch folder.
#include <filesystem>
#include <fstream>

#include "FuzzInput.h"
#include "directory/LdifDirectory.h"
#include "directory/LdifReader.h"

using namespace orbitel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = fuzz::InputText(data, size);
  (void)directory::ReadLdif(text, "directory.ldif");

  const std::filesystem::path file = fuzz::ScratchFolder() / "directory.ldif";
  std::ofstream(file, std::ios::binary).write(text.data(), static_cast<std::streamsize>(size));
  {
    directory::LdifDirectory ldif(file.string());
    (void)ldif.NamingContext();
    (void)ldif.Accounts();
  }
  std::filesystem::remove(file);
  return 0;
}
