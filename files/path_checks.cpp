// files/path_checks.cpp: path argument, absolute path check, buffer limit.
#include "files/path_checks.h"

#include "files/stream.h"

namespace files {

const char16_t* PathArgument(frame::Word word) {
  return reinterpret_cast<const char16_t*>(word);
}

std::u16string_view PathView(frame::Word word) {
  const char16_t* text = PathArgument(word);
  return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

bool IsAbsolutePath(std::u16string_view path) {
  if (path.empty()) return false;
  return path.front() == u'\\' || path.front() == u'/' || path.back() == u':';
}

bool CheckAbsolutePath(frame::Self* self, std::u16string_view path) {
  if (IsAbsolutePath(path)) return true;
  frame::Raise(self, frame::kErrPathNotAbsolute, {path});
  return false;
}

bool FitsPathBuffer(std::u16string_view path) {
  return path.size() < static_cast<std::size_t>(kMaxPath);
}

void ReportMessage(frame::Self* self, std::uint32_t message,
                   frame::ErrArgs args, std::uint32_t system_error) {
  frame::CXError* record = frame::ErrorRecord(self);
  if (record == nullptr) return;
  record->Reset();
  if (system_error != 0) frame::AttachSystemError(record, system_error);
  frame::AddMessage(record, message, args);
}

}  // namespace files
