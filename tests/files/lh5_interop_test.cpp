// The lh5 codec beside the standard LHA programs, over the corpus that
// scripts/make_corpus.py writes: our streams, put into a level-0 .lzh
// archive, come out byte for byte from lhasa, lha (jlha) and bsdtar; the
// streams in an archive that lha makes decode byte for byte here.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "tests/files/lh5_support.h"
#include "tests/support/run_process.h"

namespace files {
namespace {

namespace fs = std::filesystem;
using testing::Bytes;

std::uint16_t Crc16(const Bytes& data) {  // CRC-16/ARC, as LHA headers hold
  std::uint16_t crc = 0;
  for (std::uint8_t b : data) {
    crc ^= b;
    for (int i = 0; i < 8; ++i) {
      crc = (crc & 1) != 0 ? static_cast<std::uint16_t>((crc >> 1) ^ 0xA001)
                           : static_cast<std::uint16_t>(crc >> 1);
    }
  }
  return crc;
}

void PutLe(Bytes* out, std::uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i)
    out->push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

std::uint32_t GetLe(const Bytes& in, std::size_t at, int bytes) {
  std::uint32_t v = 0;
  for (int i = bytes - 1; i >= 0; --i) v = (v << 8) | in.at(at + i);
  return v;
}

// One member of a level-0 archive: its header, then the stream.
void AddMember(Bytes* archive, const std::string& name, const Bytes& stream,
               const Bytes& original) {
  Bytes h = {'-', 'l', 'h', '5', '-'};
  PutLe(&h, static_cast<std::uint32_t>(stream.size()), 4);
  PutLe(&h, static_cast<std::uint32_t>(original.size()), 4);
  PutLe(&h, 0x58210000, 4);  // 1 January 2024, 00:00 (MS-DOS form)
  h.push_back(0x20);         // attributes: archive
  h.push_back(0);            // header level
  h.push_back(static_cast<std::uint8_t>(name.size()));
  h.insert(h.end(), name.begin(), name.end());
  PutLe(&h, Crc16(original), 2);
  std::uint8_t sum = 0;
  for (std::uint8_t b : h) sum = static_cast<std::uint8_t>(sum + b);
  archive->push_back(static_cast<std::uint8_t>(h.size()));
  archive->push_back(sum);
  archive->insert(archive->end(), h.begin(), h.end());
  archive->insert(archive->end(), stream.begin(), stream.end());
}

struct Member {
  std::string method;
  std::uint32_t original = 0;
  Bytes stream;
};

// The members of a level-2 archive by file name.
std::map<std::string, Member> ReadLevel2(const Bytes& archive) {
  std::map<std::string, Member> members;
  for (std::size_t at = 0; at < archive.size() && archive[at] != 0;) {
    const std::uint32_t header = GetLe(archive, at, 2);
    EXPECT_EQ(2, archive.at(at + 20)) << "header level";
    Member m;
    m.method.assign(archive.begin() + static_cast<long>(at + 2),
                    archive.begin() + static_cast<long>(at + 7));
    const std::uint32_t packed = GetLe(archive, at + 7, 4);
    m.original = GetLe(archive, at + 11, 4);
    // Extended headers: a type, its data, the size of the next one.
    std::string name;
    std::size_t ext = at + 26;
    for (std::uint32_t size = GetLe(archive, at + 24, 2); size != 0;) {
      if (archive.at(ext) == 0x01) {
        name.assign(archive.begin() + static_cast<long>(ext + 1),
                    archive.begin() + static_cast<long>(ext + size - 2));
      }
      const std::uint32_t next = GetLe(archive, ext + size - 2, 2);
      ext += size;
      size = next;
    }
    const auto data = archive.begin() + static_cast<long>(at + header);
    m.stream.assign(data, data + packed);
    members[name] = std::move(m);
    at += header + packed;
  }
  return members;
}

Bytes ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const fs::path& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

class Lh5Interop : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string pattern = fs::temp_directory_path() / "std8_lh5_XXXXXX";
    const bool made_dir = mkdtemp(pattern.data()) != nullptr;
    dir_ = new fs::path(pattern);
    ASSERT_TRUE(made_dir);
    const support::ProcessResult made = support::RunProcess(
        "/usr/bin/python3",
        {std::string(STD8_SOURCE_DIR) + "/scripts/make_corpus.py",
         (*dir_ / "corpus").string()});
    ASSERT_EQ(0, made.status) << made.err;
  }
  static void TearDownTestSuite() {
    std::error_code ignored;
    fs::remove_all(*dir_, ignored);
    delete dir_;
  }

  static std::map<std::string, Bytes> Corpus() {
    std::map<std::string, Bytes> files;
    for (const auto& entry : fs::directory_iterator(*dir_ / "corpus")) {
      files[entry.path().filename().string()] = ReadFile(entry.path());
    }
    return files;
  }

  static fs::path* dir_;
};

fs::path* Lh5Interop::dir_ = nullptr;

struct Tool {
  const char* program;
  std::vector<std::string> (*args)(const std::string& archive,
                                   const std::string& into);
};

const Tool kTools[] = {
    {"/usr/bin/lhasa",
     [](const std::string& a, const std::string& d) {
       return std::vector<std::string>{"-xqfw=" + d, a};
     }},
    {"/usr/bin/lha",
     [](const std::string& a, const std::string& d) {
       return std::vector<std::string>{"-xqfw=" + d, a};
     }},
    {"/usr/bin/bsdtar",
     [](const std::string& a, const std::string& d) {
       return std::vector<std::string>{"-xf", a, "-C", d};
     }},
};

TEST_F(Lh5Interop, StandardToolsExtractOurStreams) {
  const std::map<std::string, Bytes> corpus = Corpus();
  ASSERT_GE(corpus.size(), 10u);
  Bytes archive;
  for (const auto& [name, data] : corpus) {
    AddMember(&archive, name, testing::Encode(data), data);
  }
  archive.push_back(0);
  const fs::path path = *dir_ / "ours.lzh";
  WriteFile(path, archive);

  for (const Tool& tool : kTools) {
    SCOPED_TRACE(tool.program);
    ASSERT_TRUE(fs::exists(tool.program)) << "scripts/deps.sh installs it";
    const fs::path into = *dir_ / fs::path(tool.program).filename();
    fs::create_directory(into);
    const support::ProcessResult run = support::RunProcess(
        tool.program, tool.args(path.string(), into.string()));
    // jlha answers 0 whatever happened: the files tell.
    EXPECT_EQ(0, run.status) << run.err;
    for (const auto& [name, data] : corpus) {
      SCOPED_TRACE(name);
      EXPECT_TRUE(ReadFile(into / name) == data);
    }
  }
}

TEST_F(Lh5Interop, RestoresStreamsOfLha) {
  const std::map<std::string, Bytes> corpus = Corpus();
  const fs::path path = *dir_ / "theirs.lzh";
  std::vector<std::string> args = {"-aqo5", path.string()};
  for (const auto& entry : corpus)
    args.push_back((*dir_ / "corpus" / entry.first).string());
  const support::ProcessResult run = support::RunProcess("/usr/bin/lha", args);
  ASSERT_EQ(0, run.status) << run.err;

  const std::map<std::string, Member> members = ReadLevel2(ReadFile(path));
  int packed = 0;
  for (const auto& [name, data] : corpus) {
    SCOPED_TRACE(name);
    const auto found = members.find(name);
    ASSERT_NE(members.end(), found);
    const Member& m = found->second;
    if (m.method != "-lh5-") continue;  // lha stores what it cannot pack
    ++packed;
    Bytes out;
    ASSERT_EQ(Lh5Result::kDone, testing::Decode(m.stream, m.original, &out));
    EXPECT_TRUE(out == data);
  }
  EXPECT_GE(packed, 8);
}

}  // namespace
}  // namespace files
