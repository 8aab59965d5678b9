// system/pe_image.h: what the component reads of an executable file: its
// kind, from the first headers, and its version resource, found through the
// PE headers and the resource tree and queried by path the way the system's
// version functions are ("\", "\VarFileInfo\Translation",
// "\StringFileInfo\040904E4\FileVersion").
//
// Files are read through the platform, a few header-sized pieces at a time;
// every offset and length comes from the file and is checked against its
// size before use, so a hostile file costs at most one version block
// (64 KiB) of memory and a bounded number of reads.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sys {

// ---- Executable kind --------------------------------------------------------

// "DOS", "16" (NE, LE, LX, W3), "32" or "64" (PE by its optional header's
// magic), or empty for what is no executable. A file that cannot be opened
// is "DOS"; one that is not "MZ" or shorter than the MZ header is empty.
std::u16string_view ExecutableMode(std::u16string_view path);

// ---- Version resource -------------------------------------------------------

// Limits against hostile files. A version block's length field is 16-bit,
// so no real one is larger than kMaxVersionBytes.
inline constexpr std::uint32_t kMaxVersionBytes = 0xFFFF;
inline constexpr std::uint32_t kMaxSections = 96;
inline constexpr std::uint32_t kMaxResourceEntries = 4096;
inline constexpr std::size_t kMaxQueryDepth = 8;
inline constexpr std::size_t kMaxChildren = 4096;

enum class VersionSource {
  kFound,
  kUnreadable,  // the file does not open or cannot be read
  kNotPe,       // no MZ header leading to "PE\0\0"
  kNone,        // a PE image without a version resource
  kMalformed,   // headers or resource tree that point outside the file
};

// The VS_VERSIONINFO block of the file's first version resource (type 16,
// its first name, its first language), in `block`. A relative path is
// taken from the program's directory.
VersionSource ReadVersionResource(std::u16string_view path,
                                  std::vector<std::uint8_t>* block);

// VS_FIXEDFILEINFO, the binary value of the root block.
inline constexpr std::uint32_t kFixedInfoSignature = 0xFEEF04BD;
struct FixedFileInfo {
  std::uint32_t signature;
  std::uint32_t struct_version;
  std::uint32_t file_version_ms;
  std::uint32_t file_version_ls;
  std::uint32_t product_version_ms;
  std::uint32_t product_version_ls;
  std::uint32_t flags_mask;
  std::uint32_t flags;
  std::uint32_t os;
  std::uint32_t type;
  std::uint32_t subtype;
  std::uint32_t date_ms;
  std::uint32_t date_ls;
};

// A version block: nested records of a 16-bit length, value length and
// type, a UTF-16 key, then the value and the children, each 32-bit aligned.
class VersionInfo {
 public:
  explicit VersionInfo(std::vector<std::uint8_t> block)
      : bytes_(std::move(block)) {}

  // The value bytes of the block that `sub_block` names: "\"-separated
  // keys from the root, compared without regard to case; "\" is the root
  // itself. False when a key is missing or a record on the way is
  // malformed.
  bool Query(std::u16string_view sub_block,
             std::span<const std::uint8_t>* value) const;
  // A text value, or nothing when the block is missing.
  std::optional<std::u16string> QueryText(std::u16string_view sub_block) const;
  // The root's value when it carries the fixed-info signature.
  std::optional<FixedFileInfo> Fixed() const;
  // The first language and code page of "\VarFileInfo\Translation".
  struct Translation {
    std::uint16_t language;
    std::uint16_t code_page;
  };
  std::optional<Translation> FirstTranslation() const;

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace sys
