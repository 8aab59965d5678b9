// platform/posix/host_text.h: names between the component's UTF-16 and the
// host's UTF-8 file names.
#pragma once

#include <string>
#include <string_view>

namespace plat::posix {

// False for text that is not UTF-16 (an unpaired surrogate).
bool ToHostText(std::u16string_view text, std::string* out);
// Bytes that are not UTF-8 become U+FFFD.
std::u16string FromHostText(std::string_view text);

}  // namespace plat::posix
