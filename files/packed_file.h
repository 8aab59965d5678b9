// files/packed_file.h: packed files: the component's own container around
// an lh5 stream, written by nfCompacte and read back by nfDecompacte.
//
//   offset 0    the byte 0x20
//          1    "-lh5-" and a 0 byte
//          7    packed size, 32 bits, little-endian
//         11    original size, 32 bits, little-endian
//         15    the source path as given, code page 1252, at most 260
//               characters, 0 bytes up to 269
//        284    the lh5 stream (packed size bytes), then two 0 bytes
//
// When packing gives no gain the destination is a plain copy of the
// source instead; restoring such a file copies it as it stands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace files {

// nfCompacte's statuses.
enum PackStatus : std::int16_t {
  kPackDone = 0,
  kPackSourceUnreadable = 1,
  kPackDestinationNotCreated = 2,
  kPackFailed = 4,
  kPackNoMemory = 5,
  kPackAborted = 6,   // the destination is deleted
  kPackDiskFull = 7,  // failed, and fewer than 5 bytes are free there
};

// nfDecompacte's statuses. A restore that does not finish deletes what it
// wrote.
enum RestoreStatus : std::int16_t {
  kRestoreDone = 0,
  kRestoreSourceUnreadable = 1,
  kRestoreDestinationNotCreated = 2,
  kRestoreNotPacked = 3,  // a corrupt stream, or a method other than lh5
  kRestoreWriteFailed = 4,
  kRestoreNoMemory = 5,
  kRestoreAborted = 6,
};

inline constexpr std::size_t kPackedPathField = 269;
inline constexpr std::size_t kPackedHeaderSize = 15 + kPackedPathField;
inline constexpr std::size_t kPackedTrailerSize = 2;
inline constexpr std::size_t kPackedPathChars = 260;

struct PackedHeader {
  std::uint32_t packed_size = 0;
  std::uint32_t original_size = 0;
  std::string path;  // code page 1252, without the 0 bytes
};

// The 284 header bytes for `source_path` (cut at 260 characters).
void BuildPackedHeader(const std::u16string& source_path,
                       std::uint32_t packed_size, std::uint32_t original_size,
                       std::uint8_t out[kPackedHeaderSize]);

enum class PackedKind { kPlain, kPacked, kOtherMethod };
// What the first bytes of a file tell; a packed file also fills *header
// (`count` must then be kPackedHeaderSize, else it is a truncated one).
PackedKind ReadPackedHeader(const std::uint8_t* bytes, std::size_t count,
                            PackedHeader* header);

// Packs `source` into `destination` (device paths).
std::int16_t Compacte(const char16_t* source,
                      const char16_t* destination) noexcept;
// Restores a packed file, or copies a plain one.
std::int16_t Decompacte(const char16_t* source,
                        const char16_t* destination) noexcept;

}  // namespace files
