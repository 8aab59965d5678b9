// files/fs_reports.h: the reports FileSystemLayer files into a sink: the
// system error first, then the operation's message naming the path(s).
#pragma once

#include <cstdint>

#include "frame/xerror.h"
#include "platform/platform.h"

namespace files {

// Messages of the layer's reports.
inline constexpr std::uint32_t kMsgDeleteFailed = 28123;
inline constexpr std::uint32_t kMsgCopyFailed = 28125;
inline constexpr std::uint32_t kMsgCreateDirectoryFailed = 28126;
inline constexpr std::uint32_t kMsgTempPathFailed = 28133;
inline constexpr std::uint32_t kMsgFindFirstFailed = 28135;
inline constexpr std::uint32_t kMsgFindNextFailed = 28136;
inline constexpr std::uint32_t kMsgProgramDirectoryFailed = 28307;
// No message: the report is the system error alone.
inline constexpr std::uint32_t kNoMessage = 0;

inline void FileReport(frame::CXError* sink, plat::SysErr error,
                       std::uint32_t message, frame::ErrArgs args = {}) {
  if (sink == nullptr) return;
  frame::AttachSystemError(sink, error);
  if (message != kNoMessage) frame::AddMessage(sink, message, args);
}

}  // namespace files
