// Libraries by name: which load, which entry points they carry, the errors,
// and the two entry points carried out on this host.
#include <gtest/gtest.h>

#include <set>

#include "tests/platform/device_root.h"

namespace plat::testing {
namespace {

class LibrariesTest : public DeviceRootTest {
 protected:
  Libraries& libraries() { return Current().libraries; }
  SystemInfo& system() { return Current().system; }
};

TEST_F(LibrariesTest, LoadByNameWithoutRegardToCase) {
  for (const std::u16string_view name :
       {u"coredll.dll", u"COREDLL.DLL", u"TOOLHELP.DLL", u"toolhelp.dll",
        u"PSAPI.DLL", u"Ws2.dll", u"Winsock.dll", u"ole32.dll", u"OLE32.DLL",
        u"cellcore.dll", u"note_prj.dll"}) {
    SCOPED_TRACE(std::string(name.begin(), name.end()));
    const Module module = libraries().LoadLibrary(name);
    EXPECT_NE(0u, module);
    EXPECT_EQ(kOk, system().LastError());
    EXPECT_TRUE(libraries().FreeLibrary(module));
  }
  EXPECT_EQ(libraries().LoadLibrary(u"coredll.dll"),
            libraries().LoadLibrary(u"CoreDll.Dll"));
}

TEST_F(LibrariesTest, Errors) {
  EXPECT_EQ(0u, libraries().LoadLibrary(u"aygshell.dll"));
  EXPECT_EQ(kErrModNotFound, system().LastError());
  EXPECT_EQ(0u, libraries().LoadLibrary(u"coredll"));
  const Module core = libraries().LoadLibrary(u"coredll.dll");
  EXPECT_EQ(nullptr, libraries().GetProcAddress(core, "CreateProcessW"));
  EXPECT_EQ(kErrProcNotFound, system().LastError());
  EXPECT_EQ(nullptr, libraries().GetProcAddress(core, "getfileattributesexw"));
  EXPECT_EQ(nullptr, libraries().GetProcAddress(core, "CoCreateGuid"));
  const Module toolhelp = libraries().LoadLibrary(u"TOOLHELP.DLL");
  EXPECT_EQ(nullptr,
            libraries().GetProcAddress(toolhelp, "GetFileAttributesExW"));
  EXPECT_EQ(nullptr, libraries().GetProcAddress(12345, "GetFileAttributesExW"));
  EXPECT_EQ(kErrInvalidHandle, system().LastError());
  EXPECT_FALSE(libraries().FreeLibrary(12345));
}

TEST_F(LibrariesTest, GetFileAttributesEx) {
  WriteHostFile("Dir/f.bin", "123456789");
  const auto get =
      reinterpret_cast<GetFileAttributesExFn>(libraries().GetProcAddress(
          libraries().LoadLibrary(u"COREDLL.DLL"), "GetFileAttributesExW"));
  ASSERT_NE(nullptr, get);
  Win32AttributeData data{};
  ASSERT_EQ(1, get(u"\\dir\\F.BIN", 0, &data));
  EXPECT_EQ(9u, data.size_low);
  EXPECT_EQ(0u, data.size_high);
  FileData direct;
  ASSERT_EQ(kOk, Current().files.GetAttributeData(u"\\dir\\f.bin", &direct));
  EXPECT_EQ(direct.attributes, data.attributes);
  EXPECT_EQ(direct.last_write,
            (FileTime{data.write_high} << 32) | data.write_low);
  EXPECT_EQ(direct.creation,
            (FileTime{data.creation_high} << 32) | data.creation_low);
  EXPECT_EQ(0, get(u"\\dir\\none", 0, &data));
  EXPECT_EQ(kErrFileNotFound, system().LastError());
  EXPECT_EQ(0, get(u"\\dir\\f.bin", 1, &data));
  EXPECT_EQ(kErrInvalidParameter, system().LastError());
}

TEST_F(LibrariesTest, CoCreateGuidGivesVersion4) {
  const auto create =
      reinterpret_cast<CoCreateGuidFn>(libraries().GetProcAddress(
          libraries().LoadLibrary(u"ole32.dll"), "CoCreateGuid"));
  ASSERT_NE(nullptr, create);
  std::set<std::string> seen;
  for (int i = 0; i < 64; ++i) {
    std::uint8_t guid[16] = {};
    ASSERT_EQ(0, create(guid));
    EXPECT_EQ(0x40, guid[7] & 0xF0);
    EXPECT_EQ(0x80, guid[8] & 0xC0);
    seen.insert(std::string(guid, guid + 16));
  }
  EXPECT_EQ(64u, seen.size());
}

}  // namespace
}  // namespace plat::testing
