// host/tmhost/json.h: the pieces of tmhost's JSON output.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tmhost {

// A JSON string literal of UTF-8 `text`: quotes, backslashes and control
// characters escaped, everything else as it is.
std::string JsonString(std::string_view text);
std::string JsonString(std::u16string_view text);

// A real as the shortest text that reads back the same; JSON has no
// infinity or NaN, so those give null.
std::string JsonReal(double value);
// The same for plain output, where infinity and NaN are written out.
std::string RealText(double value);

}  // namespace tmhost
