// system/system_error_text.cpp: the "%s (%d)" text of a system error code.
#include "system/system_error_text.h"

#include "frame/xerror.h"

namespace sys {

std::u16string SystemErrorText(plat::SysErr code) {
  std::u16string message = plat::Current().system.ErrorText(code);
  if (message.empty()) return {};
  if (message.size() > kMaxSystemMessage) message.resize(kMaxSystemMessage);
  return frame::FormatMessage(u"%s (%d)", {message, code});
}

}  // namespace sys
