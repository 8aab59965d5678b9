// The data-file header and the project element header over real files:
// what is written byte for byte, what reading accepts and refuses with
// which lines, and elements cut short or sized to exhaust memory.
#include "files/file_headers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/fake/fake_platform.h"
#include "tests/files/stream_fixture.h"

namespace files {
namespace {

constexpr std::uint32_t kReadWrite = plat::kGenericRead | plat::kGenericWrite;

void Le(Bytes* out, std::uint64_t value, int size) {
  for (int i = 0; i < size; ++i) {
    out->push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
}

Bytes Header(std::uint32_t size, std::uint32_t type,
             std::uint32_t signature = CTSFile::kSignature) {
  Bytes b;
  Le(&b, signature, 4);
  Le(&b, size, 4);
  Le(&b, type, 4);
  Le(&b, 0x0102, 2);  // reserved word
  b.push_back(21);
  b.push_back(6);
  Le(&b, 0xBEEF, 2);  // caller's word
  Le(&b, 1036, 2);
  return b;
}

Bytes Cut(Bytes bytes, std::size_t size) {
  bytes.resize(size);
  return bytes;
}

struct HeaderTest : DeviceRootTest {
  IXStream& Open(const char* name, const Bytes& bytes,
                 std::uint32_t access = kReadWrite) {
    Put(name, bytes);
    EXPECT_TRUE(
        stream.Open(DevicePath(name), access, 0, plat::kOpenExisting, 0));
    return stream;
  }
  plat::FakePlatform fake;  // the user's language; a full disk
  IXStream stream{&record};
};

TEST_F(HeaderTest, WriteLaysOutTheTwentyBytes) {
  Bytes zeros(100, 0);
  Open("h.dat", zeros);
  CTSFile file(stream, CTSFile::kFamilyRequest);  // written as its type 2
  file.set_caller_word(0xBEEF);
  fake.system().SetLangId(0x0407);
  std::uint64_t position = 50;
  ASSERT_TRUE(file.WriteHeader(&position));
  EXPECT_EQ(70u, position);
  Bytes expected = zeros;
  const Bytes header = {'K', 'S', 'L', 0, 20, 0, 0,    0,    2,    0,
                        0,   0,   0,   0, 21, 6, 0xEF, 0xBE, 0x07, 0x04};
  std::copy(header.begin(), header.end(), expected.begin() + 50);
  EXPECT_EQ(expected, Get("h.dat"));
  EXPECT_EQ(21, file.major_version());
  EXPECT_EQ(6, file.revision());
  EXPECT_EQ(0x0407, file.language());
}

TEST_F(HeaderTest, WriteOnAFullDiskReportsWhatWasWritten) {
  Open("h.dat", {});
  fake.files().SetDiskCapacity(7);
  CTSFile file(stream, 7);
  std::uint64_t position = 0;
  EXPECT_FALSE(file.WriteHeader(&position));
  EXPECT_EQ(0u, position);
  EXPECT_EQ(plat::kErrDiskFull, record.system_code);
  ASSERT_EQ(5u, record.texts.size());
  EXPECT_EQ(Message(28008, {u"\\h.dat"}), record.texts[2]);
  EXPECT_EQ(u"##(IXStream)-A ecrire=<20>, ecrit=<7>##", record.texts[3]);
  EXPECT_EQ(Message(28009, {u"\\h.dat"}), record.texts[4]);
}

// clang-format off
struct ReadCase {
  const char* id;
  const char* name;
  Bytes bytes;
  std::uint32_t asked;
  bool ok;
  std::uint32_t type;                 // taken, when ok
  std::uint64_t next;                 // position after, when ok
  std::vector<std::u16string> texts;  // the report, when refused
};
constexpr std::uint32_t kFamily = CTSFile::kFamilyRequest;
const ReadCase kReadCases[] = {
  {"3.1", "h.dat", Header(20, 9),       0,       true, 9,       20, {}},
  {"3.2", "h.dat", Header(32, 9),       9,       true, 9,       32, {}},
  {"3.3", "h.dat", Header(20, 2),       kFamily, true, 2,       20, {}},
  {"3.4", "h.dat", Header(20, 0x20005), kFamily, true, 0x20005, 20, {}},
  {"3.5", "h.dat", Header(20, 3), kFamily, false, 0, 0,
   {u"##(CTSFile)-Type demande=<131073>, type lu=<3>##",
    Message(28259, {u"\\h.dat"})}},
  {"3.6", "h", Header(20, 2), kFamily, false, 0, 0,
   {u"##(CTSFile)-Type demande=<131073>, type lu=<2>##",
    Message(28259, {u"\\h"})}},
  {"3.7", "h.dat", Header(20, 8), 7, false, 0, 0,
   {u"##(CTSFile)-Type demande=<7>, type lu=<8>##",
    Message(28259, {u"\\h.dat"})}},
  {"3.8", "h.dat", Header(20, 9, 0x004C534C), 0, false, 0, 0,
   {u"##(CTSFile)-Signature geree=<5002059>, signature lue=<5002060>##",
    Message(28555, {u"21.0", u"\\h.dat"})}},
  {"3.9", "h.dat", Header(19, 9), 0, false, 0, 0,
   {u"##(CTSFile)-Taille entete attendue=<20>, Taille entete lue=<19>##",
    Message(28011, {u"\\h.dat"})}},
  {"3.10", "h.dat", Cut(Header(20, 9), 19), 0, false, 0, 0,
   {u"##(IXStream)-bExact=<1>##", u"##(IXStream)-A lire=<20>, lu=<19>##",
    Message(28003, {u"\\h.dat"})}},
};
// clang-format on

TEST_F(HeaderTest, Read) {
  for (const ReadCase& c : kReadCases) {
    SCOPED_TRACE(c.id);
    record.Reset();
    Open(c.name, c.bytes);
    CTSFile file(stream, c.asked);
    std::uint64_t position = 0;
    EXPECT_EQ(c.ok, file.ReadHeader(&position));
    if (!c.ok) {
      std::vector<std::u16string> texts = record.texts;
      if (!texts.empty() && texts.front() == HandleTrace(stream.handle())) {
        texts.erase(texts.begin());  // the stream's own report
      }
      EXPECT_EQ(c.texts, texts);
      EXPECT_EQ(0u, position);
      continue;
    }
    EXPECT_FALSE(record.HasError());
    EXPECT_EQ(c.next, position);
    EXPECT_EQ(c.next, stream.Tell());
    EXPECT_EQ(c.type, file.type());
    EXPECT_EQ(c.next, file.header_size());
    EXPECT_EQ(0x0102, file.reserved());
    EXPECT_EQ(21, file.major_version());
    EXPECT_EQ(6, file.revision());
    EXPECT_EQ(0xBEEF, file.caller_word());
    EXPECT_EQ(1036, file.language());
  }
}

// ---- Project elements -------------------------------------------------------

constexpr std::uint64_t kBase = 16;

// An element at kBase: header, then (at index_at from the base) its index.
struct Element {
  std::uint32_t word = 0xA1B2C3D4;
  std::uint16_t minor = 0;
  std::uint16_t major = 3;
  std::uint64_t stored_index = 0;  // 0: right after the header
  std::uint32_t extensions = 2;
  Bytes name = {'C', 'l', 'i', 'e', 'n', 't', 0xE9, 0, 0, 0, 0};
  std::uint32_t count = 3;

  bool HasExtensions() const { return major >= 3 || minor != 0; }
  Bytes Build(std::uint64_t* index_at = nullptr) const {
    Bytes b(kBase + 8, 0x55);
    Le(&b, word, 4);
    Le(&b, minor, 2);
    Le(&b, major, 2);
    const std::size_t index_field = b.size();
    Le(&b, 0, 8);
    Le(&b, 0x77, 8);
    if (HasExtensions()) {
      Le(&b, extensions, 4);
      for (int i = 0; i < 10; ++i) b.push_back(static_cast<std::uint8_t>(i));
      b.insert(b.end(), name.begin(), name.end());
    }
    std::uint64_t at = b.size() - kBase;
    if (major == 1) {
      b.resize(kBase + 0x20, 0x55);  // where version 1 keeps it
      at = 0x20;
    }
    for (int i = 0; i < 8; ++i) {
      const std::uint64_t stored = stored_index != 0 ? stored_index : at;
      b[index_field + i] = static_cast<std::uint8_t>(stored >> (8 * i));
    }
    if (index_at != nullptr) *index_at = at;
    Le(&b, count, 4);
    for (std::uint32_t i = 0; i < count && count < 1000; ++i) Le(&b, i, 5);
    if (major >= 10) {
      for (std::uint32_t i = 0; i < count && count < 1000; ++i) Le(&b, ~i, 8);
    }
    return b;
  }
};

constexpr char16_t kWrongVersion[] =
    u"##(CEltProjetFile)-Version entete majeure attendu=<%u>, "
    u"Version entete majeure lu=<%u>##";

std::u16string VersionTrace(std::uint32_t expected, std::uint32_t read) {
  return frame::FormatMessage(kWrongVersion, {expected, read});
}
std::u16string BytesTrace(std::uint32_t expected, std::uint32_t read) {
  return frame::FormatMessage(
      u"##(CEltProjetFile)-Octet attendu=<%u>, octet lu=<%u>##",
      {expected, read});
}

// clang-format off
struct EltCase {
  const char* id;
  std::uint16_t minor, major;
  std::uint16_t known;
  std::uint32_t extensions;
  std::uint32_t count;
  bool ok;
  std::vector<std::u16string> texts;
};
const EltCase kEltCases[] = {
  {"4.1", 0,      3, 3, 2, 3, true,  {}},
  {"4.2", 0,      7, 3, 2, 3, true,  {}},   // major 4+: no comparison
  {"4.3", 0,      4, 1, 2, 3, true,  {}},
  {"4.4", 0,      3, 2, 2, 3, false, {VersionTrace(2, 3)}},
  {"4.5", 0,      0, 3, 2, 3, false, {VersionTrace(3, 0)}},
  {"4.6", 0xFFF0, 2, 1, 2, 3, true,  {}},   // always accepted
  {"4.7", 0xFFEF, 2, 1, 2, 3, false, {VersionTrace(1, 2)}},
  {"4.8", 0,      2, 2, 2, 3, true,  {}},   // no extension fields
  {"4.9", 0,      1, 3, 2, 3, true,  {}},   // index at base + 0x20
  {"4.10", 0,    10, 3, 2, 3, true,  {}},   // second table
  {"4.11", 0,     3, 3, 5, 3, false, {VersionTrace(4, 5)}},
  {"4.12", 0,     3, 3, 4, 0, false, {}},
  {"4.13", 0,    10, 3, 2, 0x20000000u, false, {}},   // overflows 32 bits
  {"4.14", 0,     3, 3, 2, 0x33333334u, false, {}},
  {"4.15", 0,     3, 3, 2, 0x33333333u, false, {BytesTrace(0xFFFFFFFFu, 0)}},
  {"4.16", 0,    10, 3, 2, 0x1FFFFFFFu, false, {BytesTrace(0x9FFFFFFBu, 0)}},
};
// clang-format on

TEST_F(HeaderTest, Elements) {
  for (const EltCase& c : kEltCases) {
    SCOPED_TRACE(c.id);
    record.Reset();
    Element e;
    e.minor = c.minor;
    e.major = c.major;
    e.extensions = c.extensions;
    e.count = c.count;
    e.stored_index = c.major == 1 ? 0x5000 : 0;  // ignored by version 1
    std::uint64_t index_at = 0;
    Open("e.dat", e.Build(&index_at));
    CEltProjetFile elt(stream, c.known, 4);
    EXPECT_EQ(c.ok, elt.ReadHeader(kBase));
    EXPECT_EQ(c.texts, record.texts);
    if (c.count > 1000 && !c.texts.empty()) {
      // Refused before the table was read, and so before it was allocated.
      EXPECT_EQ(kBase + index_at + 4, stream.Tell());
    }
    if (!c.ok) continue;
    EXPECT_EQ(0xA1B2C3D4u, elt.element_word());
    EXPECT_EQ(c.major, elt.major_version());
    EXPECT_EQ(index_at, elt.index_position());
    EXPECT_EQ(0u, elt.second_field());
    EXPECT_EQ(c.count, elt.entry_count());
    ASSERT_EQ(5u * c.count, elt.first_table().size());
    EXPECT_EQ(2, elt.first_table()[10]);
    EXPECT_EQ(c.major >= 10 ? 8u * c.count : 0u, elt.second_table().size());
    if (e.HasExtensions()) {
      EXPECT_EQ(u"Client\u00E9", elt.name());
      EXPECT_EQ(9, elt.extension_bytes()[9]);
    } else {
      EXPECT_EQ(u"", elt.name());
    }
  }
}

TEST_F(HeaderTest, ElementNameWithoutTerminatorIsEmpty) {
  Element e;
  e.name = Bytes(11, 'x');
  Open("e.dat", e.Build());
  CEltProjetFile elt(stream, 3, 4);
  EXPECT_TRUE(elt.ReadHeader(kBase));
  EXPECT_EQ(u"", elt.name());
}

// Cut at the start of each field and one byte into it: the field that comes
// short is named with what it got.
TEST_F(HeaderTest, TruncatedElementsAreRefusedAtEveryField) {
  Element e;
  e.major = 10;
  e.count = 2;
  const Bytes full = e.Build();
  // Field sizes in file order from base + 8.
  const std::uint32_t sizes[] = {4, 2, 2, 8, 8, 4, 10, 11, 4, 10, 16};
  std::uint64_t start = kBase + 8;
  for (const std::uint32_t size : sizes) {
    for (const std::uint64_t cut : {start, start + 1}) {
      if (cut >= start + size) continue;
      SCOPED_TRACE(cut);
      record.Reset();
      Open("t.dat", Cut(full, cut));
      CEltProjetFile elt(stream, 10, 4);
      EXPECT_FALSE(elt.ReadHeader(kBase));
      EXPECT_EQ(std::vector<std::u16string>{BytesTrace(
                    size, static_cast<std::uint32_t>(cut - start))},
                record.texts);
    }
    start += size;
  }
  EXPECT_EQ(full.size(), start);
}

}  // namespace
}  // namespace files
