// platform/posix/library_entries.cpp: the entry points of libraries loaded
// by name.
#include "platform/posix/library_entries.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace plat::posix {

int CoreGetFileAttributesEx(const char16_t* path, int level,
                            Win32AttributeData* data) {
  Platform& platform = Current();
  if (path == nullptr || data == nullptr || level != 0) {
    platform.system.SetLastError(kErrInvalidParameter);
    return 0;
  }
  FileData entry;
  if (platform.files.GetAttributeData(std::u16string_view(path), &entry) != kOk)
    return 0;
  const auto low = [](std::uint64_t v) {
    return static_cast<std::uint32_t>(v);
  };
  const auto high = [](std::uint64_t v) {
    return static_cast<std::uint32_t>(v >> 32);
  };
  data->attributes = entry.attributes;
  data->creation_low = low(entry.creation);
  data->creation_high = high(entry.creation);
  data->access_low = low(entry.last_access);
  data->access_high = high(entry.last_access);
  data->write_low = low(entry.last_write);
  data->write_high = high(entry.last_write);
  data->size_high = high(entry.size);
  data->size_low = low(entry.size);
  return 1;
}

long OleCoCreateGuid(std::uint8_t guid[16]) {
  std::size_t got = 0;
  while (got < 16) {
    const ssize_t n = getrandom(guid + got, 16 - got, 0);
    if (n > 0) {
      got += static_cast<std::size_t>(n);
    } else if (n < 0 && errno != EINTR) {
      break;
    }
  }
  if (got < 16) {
    const int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
      while (got < 16) {
        const ssize_t n = read(fd, guid + got, 16 - got);
        if (n <= 0 && errno != EINTR) break;
        if (n > 0) got += static_cast<std::size_t>(n);
      }
      close(fd);
    }
  }
  if (got < 16) return static_cast<long>(0x80004005L);  // E_FAIL
  // Data3's high nibble (byte 7, little-endian) holds the version, the top
  // bits of Data4[0] the variant.
  guid[7] = static_cast<std::uint8_t>((guid[7] & 0x0F) | 0x40);
  guid[8] = static_cast<std::uint8_t>((guid[8] & 0x3F) | 0x80);
  return 0;
}

}  // namespace plat::posix
