// Splitting key paths and naming their roots.
#include "system/registry_path.h"

#include <gtest/gtest.h>

#include <string>

namespace sys {
namespace {

struct SplitCase {
  const char* id;
  std::u16string_view path, root, sub;
  plat::Key handle;
};

// clang-format off
const SplitCase kSplitCases[] = {
  {"1.1", u"HKEY_LOCAL_MACHINE\\Sw\\X",   u"HKEY_LOCAL_MACHINE",    u"Sw\\X",           plat::kLocalMachine},
  {"1.2", u"HKEY_USERSX\\Abc",            u"HKEY_USERS",            u"X\\Abc",          plat::kUsers},
  {"1.3", u"Software\\Foo",               u"HKEY_CLASSES_ROOT",     u"Software\\Foo",   plat::kClassesRoot},
  {"1.4", u"hkey_local_machine\\Software", u"HKEY_CLASSES_ROOT",    u"hkey_local_machine\\Software", plat::kClassesRoot},
  {"1.5", u"HKEY_CURRENT_USER\\Sw\\",     u"HKEY_CURRENT_USER",     u"Sw",              plat::kCurrentUser},
  {"1.6", u"HKEY_CURRENT_USER\\Sw\\\\",   u"HKEY_CURRENT_USER",     u"Sw\\",            plat::kCurrentUser},
  {"1.7", u"HKEY_CURRENT_USER\\\\Sw",     u"HKEY_CURRENT_USER",     u"\\Sw",            plat::kCurrentUser},
  {"1.8", u"HKEY_CURRENT_USER",           u"HKEY_CURRENT_USER",     u"",                plat::kCurrentUser},
  {"1.9", u"HKEY_CURRENT_USER\\",         u"HKEY_CURRENT_USER",     u"",                plat::kCurrentUser},
  {"2.1", u"",                            u"HKEY_CLASSES_ROOT",     u"",                plat::kClassesRoot},
  {"2.2", u"\\Software",                  u"HKEY_CLASSES_ROOT",     u"Software",        plat::kClassesRoot},
  {"3.1", u"HKEY_CURRENT_CONFIG\\X",      u"HKEY_CURRENT_CONFIG",   u"X",               0},
  {"3.2", u"HKEY_PERFORMANCE_DATA",       u"HKEY_PERFORMANCE_DATA", u"",                0},
  {"3.3", u"HKEY_DYN_DATAX",              u"HKEY_DYN_DATA",         u"X",               0},
  {"3.4", u"HKEY_CLASSES_ROOTS\\A",       u"HKEY_CLASSES_ROOT",     u"S\\A",            plat::kClassesRoot},
};
// clang-format on

TEST(RegistryPath, Split) {
  for (const SplitCase& c : kSplitCases) {
    SCOPED_TRACE(c.id);
    const RegistryPath p = SplitRegistryPath(c.path);
    EXPECT_EQ(c.root, p.root);
    EXPECT_EQ(c.sub, p.sub);
    EXPECT_EQ(c.handle, RootHandle(p.root));
  }
}

}  // namespace
}  // namespace sys
