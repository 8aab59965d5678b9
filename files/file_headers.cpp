// files/file_headers.cpp: CTSFile, the 20-byte data-file header, and
// CEltProjetFile, a project element's header and index. Both trust nothing
// they read: every size is checked against what the file holds before it
// is used. Reports carry trace lines and, for CTSFile, a message naming the
// file; system errors are attached by the stream, which reads for them.
#include "files/file_headers.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "frame/code_page.h"
#include "frame/xerror.h"
#include "platform/platform.h"

namespace files {
namespace {

constexpr std::uint32_t kMsgHeaderWrite = 28009;
constexpr std::uint32_t kMsgHeaderShort = 28011;
constexpr std::uint32_t kMsgWrongType = 28259;
constexpr std::uint32_t kMsgWrongVersion = 28555;
constexpr char16_t kReadableVersion[] = u"21.0";

constexpr char16_t kTraceSignature[] =
    u"##(CTSFile)-Signature geree=<%u>, signature lue=<%u>##";
constexpr char16_t kTraceType[] =
    u"##(CTSFile)-Type demande=<%u>, type lu=<%u>##";
constexpr char16_t kTraceHeaderSize[] =
    u"##(CTSFile)-Taille entete attendue=<%u>, Taille entete lue=<%u>##";
constexpr char16_t kTraceWritten[] =
    u"##(IXStream)-A ecrire=<%u>, ecrit=<%u>##";
constexpr char16_t kTraceBytes[] =
    u"##(CEltProjetFile)-Octet attendu=<%u>, octet lu=<%u>##";
constexpr char16_t kTraceVersion[] =
    u"##(CEltProjetFile)-Version entete majeure attendu=<%u>, "
    u"Version entete majeure lu=<%u>##";

constexpr std::uint64_t kMaxSeek =
    static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
// Tables are allocated with a 32-bit size.
constexpr std::uint64_t kMaxTable = 0xFFFFFFFFu;

std::uint16_t Le16(const std::uint8_t* p) {
  return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
std::uint32_t Le32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(Le16(p)) |
         (static_cast<std::uint32_t>(Le16(p + 2)) << 16);
}
std::uint64_t Le64(const std::uint8_t* p) {
  return static_cast<std::uint64_t>(Le32(p)) |
         (static_cast<std::uint64_t>(Le32(p + 4)) << 32);
}
void PutLe16(std::uint8_t* p, std::uint16_t v) {
  p[0] = static_cast<std::uint8_t>(v);
  p[1] = static_cast<std::uint8_t>(v >> 8);
}
void PutLe32(std::uint8_t* p, std::uint32_t v) {
  PutLe16(p, static_cast<std::uint16_t>(v));
  PutLe16(p + 2, static_cast<std::uint16_t>(v >> 16));
}

}  // namespace

// ---- CTSFile ----------------------------------------------------------------

bool CTSFile::AcceptsType(std::uint32_t type_read) const {
  return type_read == type_;
}

bool CTSFile::FamilyAccepts(std::u16string_view file_name,
                            std::uint32_t type_read) const {
  if (type_read != kFamilyType && (type_read >> 16) != kFamilyType) {
    return false;
  }
  const std::size_t slash = file_name.find_last_of(u"\\/");
  const std::u16string_view last = slash == std::u16string_view::npos
                                       ? file_name
                                       : file_name.substr(slash + 1);
  const std::size_t dot = last.rfind(u'.');
  return dot != std::u16string_view::npos && dot + 1 < last.size();
}

bool CTSFile::ReadHeader(std::uint64_t* position) {
  // Pre-filled so that bytes no read reached are recognisable.
  std::uint8_t bytes[kHeaderSize];
  std::memset(bytes, 0xCD, sizeof bytes);
  if (!stream_.ReadAt(*position, bytes, kHeaderSize)) return false;
  frame::CXError* sink = stream_.sink();

  const std::uint32_t signature = Le32(bytes);
  if (signature != kSignature) {
    frame::AddTrace(sink, kTraceSignature, {kSignature, signature});
    frame::AddMessage(sink, kMsgWrongVersion,
                      {kReadableVersion, stream_.report_name()});
    return false;
  }

  const std::uint32_t type_read = Le32(bytes + 8);
  bool type_ok = false;
  if (type_ == kAnyType) {
    type_ok = true;
  } else if (type_ == kFamilyRequest) {
    type_ok = FamilyAccepts(stream_.name(), type_read);
  } else {
    type_ok = AcceptsType(type_read);
  }
  if (!type_ok) {
    frame::AddTrace(sink, kTraceType, {type_, type_read});
    frame::AddMessage(sink, kMsgWrongType, {stream_.report_name()});
    return false;
  }

  const std::uint32_t size = Le32(bytes + 4);
  if (size < kHeaderSize) {
    frame::AddTrace(sink, kTraceHeaderSize, {kHeaderSize, size});
    frame::AddMessage(sink, kMsgHeaderShort, {stream_.report_name()});
    return false;
  }

  type_ = type_read;
  header_size_ = size;
  reserved_ = Le16(bytes + 12);
  major_ = bytes[14];
  revision_ = bytes[15];
  caller_word_ = Le16(bytes + 16);
  language_ = Le16(bytes + 18);
  *position += size;
  // A longer header's extra bytes are skipped.
  if (size != kHeaderSize && *position <= kMaxSeek) {
    return stream_.Seek(static_cast<std::int64_t>(*position), plat::kSeekBegin);
  }
  return true;
}

bool CTSFile::WriteHeader(std::uint64_t* position) {
  reserved_ = 0;
  major_ = kMajorVersion;
  revision_ = kRevision;
  language_ = plat::Current().system.UserDefaultLangId();
  header_size_ = kHeaderSize;

  std::uint8_t bytes[kHeaderSize];
  PutLe32(bytes, kSignature);
  PutLe32(bytes + 4, kHeaderSize);
  PutLe32(bytes + 8, type_ == kFamilyRequest ? kFamilyType : type_);
  PutLe16(bytes + 12, reserved_);
  bytes[14] = major_;
  bytes[15] = revision_;
  PutLe16(bytes + 16, caller_word_);
  PutLe16(bytes + 18, language_);

  std::uint32_t written = 0;
  if (*position <= kMaxSeek &&
      stream_.Seek(static_cast<std::int64_t>(*position), plat::kSeekBegin)) {
    stream_.Write(bytes, kHeaderSize, &written);
  }
  if (written != kHeaderSize) {
    frame::CXError* sink = stream_.sink();
    frame::AddTrace(sink, kTraceWritten, {kHeaderSize, written});
    frame::AddMessage(sink, kMsgHeaderWrite, {stream_.report_name()});
    return false;
  }
  *position += kHeaderSize;
  return true;
}

// ---- CEltProjetFile ---------------------------------------------------------

// A field shorter than asked refuses the element, whether the file ends or
// the read fails (the stream has then filed its own report first).
bool CEltProjetFile::ReadField(void* buffer, std::uint32_t size) {
  std::uint32_t got = 0;
  const bool ok = stream_.Read(buffer, size, &got);
  if (got < size) {
    frame::AddTrace(stream_.sink(), kTraceBytes, {size, got});
    return false;
  }
  return ok;
}

bool CEltProjetFile::VersionAccepted() const {
  // Kept as is: major 2 with a minor word of 0xFFF0 or more passes whatever
  // the reader knows.
  if (major_ == 2 && minor_ >= 0xFFF0) return true;
  if (major_ == 0) return false;
  // Kept as is: from major 4 on there is no comparison; newer layouts are
  // read by the later fields' own rules.
  if (major_ >= 4) return true;
  return major_ <= highest_known_;
}

void CEltProjetFile::FileVersionTrace(std::uint32_t expected,
                                      std::uint32_t read) {
  frame::AddTrace(stream_.sink(), kTraceVersion, {expected, read});
}

// Each field is checked as soon as it is read.
bool CEltProjetFile::ReadHeader(std::uint64_t base) {
  element_word_ = 0;
  minor_ = major_ = 0;
  index_position_ = second_field_ = 0;
  extension_count_ = 0;
  extension_bytes_.fill(0);
  name_.clear();
  entry_count_ = 0;
  first_table_.clear();
  second_table_.clear();

  // Positions past what a seek can reach hold nothing.
  auto seek = [&](std::uint64_t to, std::uint32_t field) {
    if (to > kMaxSeek) {
      frame::AddTrace(stream_.sink(), kTraceBytes, {field, 0});
      return false;
    }
    return stream_.Seek(static_cast<std::int64_t>(to), plat::kSeekBegin);
  };

  // Past any seek: the sum is kept out of reach instead of wrapping.
  auto offset = [](std::uint64_t from, std::uint64_t by) {
    return by > kMaxSeek - std::min(from, kMaxSeek) ? kMaxSeek + 1 : from + by;
  };

  std::uint8_t b[8];
  if (!seek(offset(base, 8), 4)) return false;
  if (!ReadField(b, 4)) return false;
  element_word_ = Le32(b);
  if (!ReadField(b, 2)) return false;
  minor_ = Le16(b);
  if (!ReadField(b, 2)) return false;
  major_ = Le16(b);
  if (!VersionAccepted()) {
    FileVersionTrace(highest_known_, major_);
    return false;
  }
  if (!ReadField(b, 8)) return false;
  index_position_ = major_ == 1 ? kVersion1Index : Le64(b);
  if (!ReadField(b, 8)) return false;
  second_field_ = Le64(b);

  if (major_ >= 3 || minor_ != 0) {
    if (!ReadField(b, 4)) return false;
    extension_count_ = Le32(b);
    if (extension_count_ > max_extensions_) {
      FileVersionTrace(max_extensions_, extension_count_);
      return false;
    }
    if (!ReadField(extension_bytes_.data(), kExtensionBytes)) return false;
    std::uint8_t name[kNameBytes];
    if (!ReadField(name, kNameBytes)) return false;
    // Without its terminator in the eleventh byte the name is not trusted;
    // with it, one byte gives one character, so the name always fits.
    if (name[kNameBytes - 1] == 0) {
      const auto* text = reinterpret_cast<const char*>(name);
      name_ = frame::AnsiToUtf16(std::string_view(text, std::strlen(text)));
    }
  }

  if (!seek(offset(base, index_position_), 4)) return false;
  if (!ReadField(b, 4)) return false;
  entry_count_ = Le32(b);
  if (entry_count_ == 0) return false;

  const std::uint64_t first_size =
      kFirstEntryBytes * std::uint64_t{entry_count_};
  const std::uint64_t second_size =
      major_ >= 10 ? kSecondEntryBytes * std::uint64_t{entry_count_} : 0;
  // The allocation of a table refuses a size past 32 bits.
  if (first_size > kMaxTable || second_size > kMaxTable) return false;

  // Nothing is allocated for more than the file still holds, so that a
  // hostile count cannot exhaust memory.
  const std::uint64_t at = stream_.Tell();
  if (!stream_.Seek(0, plat::kSeekEnd)) return false;
  const std::uint64_t end = stream_.Tell();
  if (!stream_.Seek(static_cast<std::int64_t>(at), plat::kSeekBegin)) {
    return false;
  }
  std::uint64_t left = end > at ? end - at : 0;

  auto read_table = [&](std::vector<std::uint8_t>* table, std::uint64_t size) {
    if (size > left) {
      frame::AddTrace(
          stream_.sink(), kTraceBytes,
          {static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(left)});
      return false;
    }
    table->resize(static_cast<std::size_t>(size));
    left -= size;
    return ReadField(table->data(), static_cast<std::uint32_t>(size));
  };
  if (!read_table(&first_table_, first_size)) return false;
  if (second_size != 0 && !read_table(&second_table_, second_size)) {
    return false;
  }

  second_field_ = 0;
  return true;
}

}  // namespace files
