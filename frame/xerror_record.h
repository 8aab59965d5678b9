// frame/xerror_record.h: CXError, the per-call error record. The host owns
// one per call context and reads it after the call; the component resets
// and fills it through frame/xerror.h.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "frame/abi.h"

namespace frame {

class CXError {
 public:
  virtual ~CXError() = default;

  // Clears the error, its texts and the system error; keeps the state word.
  virtual void Reset() {
    component = nullptr;
    number = 0;
    severity = 0;
    subcode = 0;
    texts.clear();
    params.clear();
    system_code = 0;
    system_text.clear();
  }

  bool HasError() const { return number != 0 || !texts.empty(); }

  // The message and the added texts, one per line.
  std::u16string Message() const {
    std::u16string all;
    for (const std::u16string& t : texts) {
      if (!all.empty()) all += u'\n';
      all += t;
    }
    return all;
  }

  const Word* component = nullptr;  // descriptor of the owning component
  std::uint32_t state = 0;          // host state word (forward marker, ...)
  std::uint32_t number = 0;
  std::uint32_t severity = 0;
  std::uint32_t subcode = 0;
  std::vector<std::u16string> texts;   // the message, then added texts
  std::vector<std::u16string> params;  // the message's arguments, as text
  std::uint32_t system_code = 0;
  std::u16string system_text;
};

}  // namespace frame
