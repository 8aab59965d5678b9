// system/pe_image.cpp: the executable kind, the way to the version resource
// through the PE headers, and the version block's records.
//
//   the file | executable kind | PE headers and sections | resource tree
//   version blocks and queries
#include "system/pe_image.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "files/fs_layer.h"
#include "platform/platform.h"
#include "text/letter_case.h"

namespace sys {
namespace {

// Little-endian fields at any offset of a buffer the caller has checked.
std::uint16_t U16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}
std::uint32_t U32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(U16(p)) |
         static_cast<std::uint32_t>(U16(p + 2)) << 16;
}

// ---- The file ---------------------------------------------------------------

// One executable opened for reading; closed at scope end. Writers elsewhere
// do not keep it from being read.
class ImageFile {
 public:
  explicit ImageFile(std::u16string_view path) {
    const std::u16string full = files::FileSystemLayer::FullPath(path);
    if (path.empty() ||
        sys_.Open(full, plat::kGenericRead,
                  plat::kShareRead | plat::kShareWrite, plat::kOpenExisting, 0,
                  &handle_) != plat::kOk ||
        sys_.Size(handle_, &size_) != plat::kOk) {
      Close();
    }
  }
  ~ImageFile() { Close(); }
  ImageFile(const ImageFile&) = delete;
  ImageFile& operator=(const ImageFile&) = delete;

  bool is_open() const { return handle_ != plat::kInvalidHandle; }
  std::uint64_t size() const { return size_; }

  // Exactly `count` bytes from the current position; a short read fails.
  bool Read(void* buffer, std::uint32_t count) {
    auto* at = static_cast<std::uint8_t*>(buffer);
    while (count > 0) {
      std::uint32_t got = 0;
      if (sys_.Read(handle_, at, count, &got) != plat::kOk || got == 0) {
        return false;
      }
      at += got;
      count -= got;
    }
    return true;
  }
  bool Seek(std::int64_t offset) {
    return sys_.Seek(handle_, offset, plat::kSeekBegin, nullptr) == plat::kOk;
  }
  // `count` bytes at `offset`, refused before any read when the range
  // does not lie within the file.
  bool ReadAt(std::uint64_t offset, void* buffer, std::uint32_t count) {
    if (offset > size_ || count > size_ - offset) return false;
    return Seek(static_cast<std::int64_t>(offset)) && Read(buffer, count);
  }

 private:
  void Close() {
    if (handle_ != plat::kInvalidHandle) sys_.Close(handle_);
    handle_ = plat::kInvalidHandle;
  }

  plat::Files& sys_ = plat::Current().files;
  plat::Handle handle_ = plat::kInvalidHandle;
  std::uint64_t size_ = 0;
};

// ---- Executable kind --------------------------------------------------------

constexpr std::uint16_t kSignatureMz = 0x5A4D;
constexpr std::uint16_t kSignatureNe = 0x454E;
constexpr std::uint16_t kSignatureLe = 0x454C;
constexpr std::uint16_t kSignatureLx = 0x584C;
constexpr std::uint16_t kSignatureW3 = 0x3357;
constexpr std::uint16_t kSignaturePe = 0x4550;
constexpr std::uint32_t kSignaturePeWord = 0x00004550;  // "PE\0\0"
constexpr std::uint16_t kMagicPe32 = 0x10B;
constexpr std::uint16_t kMagicPe32Plus = 0x20B;

constexpr std::uint32_t kDosHeaderSize = 64;
constexpr std::uint32_t kRelocationOffsetField = 24;
constexpr std::uint32_t kNewHeaderField = 60;
// The signature, the COFF header and a PE32 optional header.
constexpr std::uint32_t kNewHeaderRead = 248;
constexpr std::uint32_t kMagicOffset = 24;  // from the signature

constexpr std::u16string_view kModeDos = u"DOS";

}  // namespace

std::u16string_view ExecutableMode(std::u16string_view path) {
  ImageFile file(path);
  if (!file.is_open()) return kModeDos;
  std::array<std::uint8_t, kDosHeaderSize> dos;
  // A file shorter than the MZ header has no header to judge.
  if (!file.Read(dos.data(), kDosHeaderSize)) return u"";
  if (U16(dos.data()) != kSignatureMz) return u"";
  // Only a relocation table right after the header leaves room for the
  // offset of a newer header at 60.
  if (U16(&dos[kRelocationOffsetField]) != kDosHeaderSize) return kModeDos;
  const auto new_header = static_cast<std::int32_t>(U32(&dos[kNewHeaderField]));
  if (!file.Seek(new_header)) return u"";
  // Kept as is: a newer header cut short by the end of the file is read
  // as no newer header, a plain DOS program, even when its signature came.
  std::array<std::uint8_t, kNewHeaderRead> header;
  if (!file.Read(header.data(), kNewHeaderRead)) return kModeDos;
  switch (U16(header.data())) {
    case kSignatureNe:
    case kSignatureLe:
    case kSignatureLx:
    case kSignatureW3:
      return u"16";
    case kSignaturePe:
      return U16(&header[kMagicOffset]) == kMagicPe32Plus ? u"64" : u"32";
    case kSignatureMz:
      return kModeDos;
    default:
      return u"";
  }
}

// ---- PE headers and sections ------------------------------------------------

namespace {

constexpr std::uint32_t kCoffHeaderSize = 20;
constexpr std::uint32_t kSectionHeaderSize = 40;
// Where the count of data directories and the directories begin, per magic.
constexpr std::uint32_t kDirectoryCountPe32 = 92;
constexpr std::uint32_t kDirectoryCountPe32Plus = 108;
constexpr std::uint32_t kDataDirectorySize = 8;
constexpr std::uint32_t kResourceDirectory = 2;

constexpr std::uint32_t kResourceDirectoryHeaderSize = 16;
constexpr std::uint32_t kResourceEntrySize = 8;
constexpr std::uint32_t kResourceDataEntrySize = 16;
constexpr std::uint32_t kHighBit = 0x80000000u;
constexpr std::uint32_t kVersionType = 16;  // RT_VERSION

struct Section {
  std::uint32_t virtual_address;
  std::uint32_t virtual_size;
  std::uint32_t raw_size;
  std::uint32_t raw_offset;
};

struct ResourceEntry {
  std::uint32_t name;    // an id, or (high bit) the offset of a name
  std::uint32_t target;  // (high bit) a subdirectory, else a data entry
};

class PeReader {
 public:
  explicit PeReader(ImageFile& file) : file_(file) {}

  VersionSource ReadVersion(std::vector<std::uint8_t>* block) {
    if (const VersionSource s = ReadHeaders(); s != VersionSource::kFound) {
      return s;
    }
    if (resource_rva_ == 0) return VersionSource::kNone;
    // Type 16, then the first name and the first language under it.
    std::vector<ResourceEntry> entries;
    if (!ReadDirectory(0, &entries)) return VersionSource::kMalformed;
    const auto type = std::find_if(
        entries.begin(), entries.end(), [](const ResourceEntry& e) {
          return (e.name & kHighBit) == 0 && e.name == kVersionType;
        });
    if (type == entries.end()) return VersionSource::kNone;
    std::uint32_t target = type->target;
    for (int level = 0; level < 2; ++level) {
      if ((target & kHighBit) == 0 ||
          !ReadDirectory(target & ~kHighBit, &entries)) {
        return VersionSource::kMalformed;
      }
      if (entries.empty()) return VersionSource::kNone;
      target = entries.front().target;
    }
    if ((target & kHighBit) != 0) return VersionSource::kMalformed;
    return ReadData(target, block);
  }

 private:
  VersionSource ReadHeaders() {
    std::array<std::uint8_t, kDosHeaderSize> dos;
    if (!file_.ReadAt(0, dos.data(), kDosHeaderSize) ||
        U16(dos.data()) != kSignatureMz) {
      return VersionSource::kNotPe;
    }
    const std::uint64_t nt = U32(&dos[kNewHeaderField]);
    std::array<std::uint8_t, 4 + kCoffHeaderSize> coff;
    if (!file_.ReadAt(nt, coff.data(), coff.size()) ||
        U32(coff.data()) != kSignaturePeWord) {
      return VersionSource::kNotPe;
    }
    const std::uint32_t section_count = U16(&coff[4 + 2]);
    const std::uint32_t optional_size = U16(&coff[4 + 16]);
    if (section_count > kMaxSections) return VersionSource::kMalformed;

    // The optional header up to the end of its data directories; the field
    // is 16-bit, so this is bounded.
    std::vector<std::uint8_t> optional(optional_size);
    const std::uint64_t optional_at = nt + coff.size();
    if (optional_size < 2 ||
        !file_.ReadAt(optional_at, optional.data(), optional_size)) {
      return VersionSource::kMalformed;
    }
    std::uint32_t count_at = 0;
    switch (U16(optional.data())) {
      case kMagicPe32:
        count_at = kDirectoryCountPe32;
        break;
      case kMagicPe32Plus:
        count_at = kDirectoryCountPe32Plus;
        break;
      default:
        return VersionSource::kMalformed;
    }
    const std::uint32_t directory_at =
        count_at + 4 + kResourceDirectory * kDataDirectorySize;
    if (optional_size < count_at + 4 ||
        U32(&optional[count_at]) <= kResourceDirectory ||
        optional_size < directory_at + kDataDirectorySize) {
      return VersionSource::kNone;  // no resource directory declared
    }
    resource_rva_ = U32(&optional[directory_at]);

    std::vector<std::uint8_t> table(section_count * kSectionHeaderSize);
    if (!table.empty() &&
        !file_.ReadAt(optional_at + optional_size, table.data(),
                      static_cast<std::uint32_t>(table.size()))) {
      return VersionSource::kMalformed;
    }
    for (std::uint32_t i = 0; i < section_count; ++i) {
      const std::uint8_t* s = &table[i * kSectionHeaderSize];
      sections_.push_back({U32(s + 12), U32(s + 8), U32(s + 16), U32(s + 20)});
    }
    return VersionSource::kFound;
  }

  // The file offset of [rva, rva + count) when it lies in the stored data of
  // one section and within the file.
  std::optional<std::uint64_t> Map(std::uint64_t rva,
                                   std::uint32_t count) const {
    for (const Section& s : sections_) {
      const std::uint64_t extent =
          s.virtual_size != 0 ? s.virtual_size : s.raw_size;
      if (rva < s.virtual_address || rva - s.virtual_address >= extent) {
        continue;
      }
      const std::uint64_t inside = rva - s.virtual_address;
      if (inside + count > s.raw_size) return std::nullopt;
      const std::uint64_t offset = s.raw_offset + inside;
      if (offset + count > file_.size()) return std::nullopt;
      return offset;
    }
    return std::nullopt;
  }

  bool ReadMapped(std::uint64_t rva, void* buffer, std::uint32_t count) {
    const std::optional<std::uint64_t> at = Map(rva, count);
    return at && file_.ReadAt(*at, buffer, count);
  }

  // The entries of the directory at `offset` from the resource tree's
  // start, named ones first, at most kMaxResourceEntries.
  bool ReadDirectory(std::uint32_t offset,
                     std::vector<ResourceEntry>* entries) {
    entries->clear();
    const std::uint64_t at = std::uint64_t{resource_rva_} + offset;
    std::array<std::uint8_t, kResourceDirectoryHeaderSize> header;
    if (!ReadMapped(at, header.data(), kResourceDirectoryHeaderSize)) {
      return false;
    }
    const std::uint32_t count = std::min<std::uint32_t>(
        U16(&header[12]) + U16(&header[14]), kMaxResourceEntries);
    std::vector<std::uint8_t> raw(count * kResourceEntrySize);
    if (count > 0 && !ReadMapped(at + kResourceDirectoryHeaderSize, raw.data(),
                                 static_cast<std::uint32_t>(raw.size()))) {
      return false;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::uint8_t* e = &raw[i * kResourceEntrySize];
      entries->push_back({U32(e), U32(e + 4)});
    }
    return true;
  }

  // The data entry's bytes; its address is an RVA of the image, not an
  // offset in the tree.
  VersionSource ReadData(std::uint32_t offset,
                         std::vector<std::uint8_t>* block) {
    std::array<std::uint8_t, kResourceDataEntrySize> entry;
    if (!ReadMapped(std::uint64_t{resource_rva_} + offset, entry.data(),
                    kResourceDataEntrySize)) {
      return VersionSource::kMalformed;
    }
    const std::uint32_t size = std::min(U32(&entry[4]), kMaxVersionBytes);
    if (size == 0) return VersionSource::kNone;
    block->assign(size, 0);
    if (!ReadMapped(U32(entry.data()), block->data(), size)) {
      block->clear();
      return VersionSource::kMalformed;
    }
    return VersionSource::kFound;
  }

  ImageFile& file_;
  std::vector<Section> sections_;
  std::uint32_t resource_rva_ = 0;
};

}  // namespace

VersionSource ReadVersionResource(std::u16string_view path,
                                  std::vector<std::uint8_t>* block) {
  block->clear();
  ImageFile file(path);
  if (!file.is_open()) return VersionSource::kUnreadable;
  return PeReader(file).ReadVersion(block);
}

// ---- Version blocks and queries ---------------------------------------------

namespace {

constexpr std::size_t kBlockHeaderSize = 6;  // wLength, wValueLength, wType
constexpr std::uint16_t kTextValue = 1;

std::size_t Align4(std::size_t at) { return (at + 3) & ~std::size_t{3}; }

// One record of a version block, as offsets into the whole block. Lengths
// that reach past the enclosing record are cut to it, as resource
// compilers are not always exact about them.
struct Record {
  std::size_t end = 0;
  std::size_t key = 0;  // the key's first character
  std::size_t key_chars = 0;
  std::size_t value = 0;
  std::size_t value_end = 0;
  std::size_t children = 0;
};

// The record at `at`, which must end by `limit`.
bool ParseRecord(std::span<const std::uint8_t> bytes, std::size_t at,
                 std::size_t limit, Record* out) {
  if (at > limit || limit - at < kBlockHeaderSize) return false;
  const std::uint8_t* p = &bytes[at];
  const std::size_t length = U16(p);
  if (length < kBlockHeaderSize) return false;
  out->end = std::min(at + length, limit);
  out->key = at + kBlockHeaderSize;
  std::size_t cursor = out->key;
  while (true) {
    if (out->end - cursor < 2) return false;  // the key is not terminated
    if (U16(&bytes[cursor]) == 0) break;
    cursor += 2;
  }
  out->key_chars = (cursor - out->key) / 2;
  // A text value's length counts characters, any other's bytes.
  const std::size_t value_bytes =
      U16(p + 4) == kTextValue ? std::size_t{U16(p + 2)} * 2 : U16(p + 2);
  out->value = std::min(Align4(cursor + 2), out->end);
  out->value_end = std::min(out->value + value_bytes, out->end);
  out->children = std::min(Align4(out->value_end), out->end);
  return true;
}

bool KeyIs(std::span<const std::uint8_t> bytes, const Record& r,
           std::u16string_view key) {
  if (r.key_chars != key.size()) return false;
  for (std::size_t i = 0; i < key.size(); ++i) {
    if (text::UpperLatin(static_cast<char16_t>(U16(&bytes[r.key + 2 * i]))) !=
        text::UpperLatin(key[i])) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool VersionInfo::Query(std::u16string_view sub_block,
                        std::span<const std::uint8_t>* value) const {
  const std::span<const std::uint8_t> bytes(bytes_);
  Record node;
  if (!ParseRecord(bytes, 0, bytes.size(), &node)) return false;
  std::size_t depth = 0;
  while (!sub_block.empty()) {
    const std::size_t cut = sub_block.find(u'\\');
    const std::u16string_view key = sub_block.substr(0, cut);
    sub_block.remove_prefix(cut == sub_block.npos ? sub_block.size() : cut + 1);
    if (key.empty()) continue;
    if (++depth > kMaxQueryDepth) return false;
    // Children follow one another, each 32-bit aligned; every record is at
    // least a header long, so the walk always moves on.
    bool found = false;
    std::size_t at = node.children;
    for (std::size_t n = 0; n < kMaxChildren && at < node.end; ++n) {
      Record child;
      if (!ParseRecord(bytes, at, node.end, &child)) break;
      if (KeyIs(bytes, child, key)) {
        node = child;
        found = true;
        break;
      }
      at = Align4(child.end);
    }
    if (!found) return false;
  }
  *value = bytes.subspan(node.value, node.value_end - node.value);
  return true;
}

std::optional<std::u16string> VersionInfo::QueryText(
    std::u16string_view sub_block) const {
  std::span<const std::uint8_t> value;
  if (!Query(sub_block, &value)) return std::nullopt;
  std::u16string chars;
  for (std::size_t i = 0; i + 1 < value.size(); i += 2) {
    const char16_t c = static_cast<char16_t>(U16(&value[i]));
    if (c == 0) break;
    chars += c;
  }
  return chars;
}

std::optional<FixedFileInfo> VersionInfo::Fixed() const {
  std::span<const std::uint8_t> value;
  constexpr std::size_t kWords = sizeof(FixedFileInfo) / 4;
  if (!Query(u"\\", &value) || value.size() < kWords * 4 ||
      U32(value.data()) != kFixedInfoSignature) {
    return std::nullopt;
  }
  std::array<std::uint32_t, kWords> words;
  for (std::size_t i = 0; i < kWords; ++i) words[i] = U32(&value[4 * i]);
  FixedFileInfo info;
  static_assert(sizeof info == sizeof words);
  std::memcpy(&info, words.data(), sizeof info);
  return info;
}

std::optional<VersionInfo::Translation> VersionInfo::FirstTranslation() const {
  std::span<const std::uint8_t> value;
  if (!Query(u"\\VarFileInfo\\Translation", &value) || value.size() < 4) {
    return std::nullopt;
  }
  return Translation{U16(value.data()), U16(value.data() + 2)};
}

}  // namespace sys
