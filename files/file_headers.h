// files/file_headers.h: the headers of the runtime's own data files, read
// and written over an IXStream. CTSFile is the 20-byte header that opens
// every such file; CEltProjetFile is the header and index of a project
// element stored inside one. Reports go to the stream's sink.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "files/stream.h"

namespace files {

class CTSFile {
 public:
  // "KSL\0" read as a little-endian number.
  static constexpr std::uint32_t kSignature = 0x004C534Bu;
  static constexpr std::uint32_t kHeaderSize = 20;
  // Requested type 0: any type is taken.
  static constexpr std::uint32_t kAnyType = 0;
  // The family request: the family test decides, and the header is written
  // with the family's own type.
  static constexpr std::uint32_t kFamilyRequest = 0x20001;
  static constexpr std::uint32_t kFamilyType = 2;
  static constexpr std::uint8_t kMajorVersion = 21;
  static constexpr std::uint8_t kRevision = 6;

  explicit CTSFile(IXStream& stream, std::uint32_t type = kAnyType)
      : stream_(stream), type_(type) {}
  virtual ~CTSFile() = default;
  CTSFile(const CTSFile&) = delete;
  CTSFile& operator=(const CTSFile&) = delete;

  // Reads the header at *position and leaves *position (and the stream)
  // just past it, header size bytes on.
  bool ReadHeader(std::uint64_t* position);
  // Writes the header at *position and leaves *position past its 20 bytes.
  bool WriteHeader(std::uint64_t* position);

  // The object's own test of a type read, when it asks for one other than
  // kAnyType and kFamilyRequest: the same type by default.
  virtual bool AcceptsType(std::uint32_t type_read) const;
  // The family test of kFamilyRequest, on the file name: a member of the
  // family has type 2 or a type 0x2xxxx, and its name carries an extension
  // (the runtime names every data file with one; a name without is a
  // temporary or stray file, whatever its header says).
  virtual bool FamilyAccepts(std::u16string_view file_name,
                             std::uint32_t type_read) const;

  std::uint32_t type() const { return type_; }
  void set_type(std::uint32_t type) { type_ = type; }
  std::uint16_t caller_word() const { return caller_word_; }
  void set_caller_word(std::uint16_t word) { caller_word_ = word; }
  std::uint32_t header_size() const { return header_size_; }
  std::uint16_t reserved() const { return reserved_; }
  std::uint8_t major_version() const { return major_; }
  std::uint8_t revision() const { return revision_; }
  std::uint16_t language() const { return language_; }

 private:
  IXStream& stream_;
  std::uint32_t type_ = kAnyType;
  std::uint32_t header_size_ = kHeaderSize;
  std::uint16_t reserved_ = 0;
  std::uint8_t major_ = 0;
  std::uint8_t revision_ = 0;
  std::uint16_t caller_word_ = 0;
  std::uint16_t language_ = 0;
};

class CEltProjetFile {
 public:
  static constexpr std::size_t kExtensionBytes = 10;
  static constexpr std::size_t kNameBytes = 11;
  static constexpr std::size_t kFirstEntryBytes = 5;
  static constexpr std::size_t kSecondEntryBytes = 8;
  // Major version 1 keeps its index here, whatever the header says.
  static constexpr std::uint64_t kVersion1Index = 0x20;

  // The owner says which versions it knows and how many extensions it takes.
  CEltProjetFile(IXStream& stream, std::uint16_t highest_known_version,
                 std::uint32_t max_extensions)
      : stream_(stream),
        highest_known_(highest_known_version),
        max_extensions_(max_extensions) {}
  virtual ~CEltProjetFile() = default;
  CEltProjetFile(const CEltProjetFile&) = delete;
  CEltProjetFile& operator=(const CEltProjetFile&) = delete;

  // Reads the element whose header lies at `base`, and its index tables.
  bool ReadHeader(std::uint64_t base);

  std::uint32_t element_word() const { return element_word_; }
  std::uint16_t minor_word() const { return minor_; }
  std::uint16_t major_version() const { return major_; }
  // Relative to the base; 0x20 for major version 1.
  std::uint64_t index_position() const { return index_position_; }
  std::uint64_t second_field() const { return second_field_; }
  std::uint32_t extension_count() const { return extension_count_; }
  const std::array<std::uint8_t, kExtensionBytes>& extension_bytes() const {
    return extension_bytes_;
  }
  const std::u16string& name() const { return name_; }
  std::uint32_t entry_count() const { return entry_count_; }
  // 5 bytes per entry.
  const std::vector<std::uint8_t>& first_table() const { return first_table_; }
  // 8 bytes per entry, from major version 10; empty before.
  const std::vector<std::uint8_t>& second_table() const {
    return second_table_;
  }

 private:
  bool ReadField(void* buffer, std::uint32_t size);
  bool VersionAccepted() const;
  void FileVersionTrace(std::uint32_t expected, std::uint32_t read);

  IXStream& stream_;
  std::uint16_t highest_known_;
  std::uint32_t max_extensions_;

  std::uint32_t element_word_ = 0;
  std::uint16_t minor_ = 0;
  std::uint16_t major_ = 0;
  std::uint64_t index_position_ = 0;
  std::uint64_t second_field_ = 0;
  std::uint32_t extension_count_ = 0;
  std::array<std::uint8_t, kExtensionBytes> extension_bytes_{};
  std::u16string name_;
  std::uint32_t entry_count_ = 0;
  std::vector<std::uint8_t> first_table_;
  std::vector<std::uint8_t> second_table_;
};

}  // namespace files
