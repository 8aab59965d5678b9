// platform/fake/fake_libraries.cpp: the real libraries, less those a test
// removes, with the entry points it substitutes.
#include "platform/fake/fake_platform.h"

namespace plat {
namespace {

std::u16string Upper(std::u16string_view name) {
  std::u16string out(name);
  for (char16_t& c : out)
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 0x20);
  return out;
}

}  // namespace

void FakeLibraries::RemoveLibrary(std::u16string_view library) {
  std::lock_guard<std::mutex> lock(mutex_);
  removed_libraries_.insert(Upper(library));
}

void FakeLibraries::RemoveEntry(std::u16string_view library,
                                const std::string& entry) {
  std::lock_guard<std::mutex> lock(mutex_);
  removed_entries_.insert({Upper(library), entry});
}

void FakeLibraries::SetEntry(std::u16string_view library,
                             const std::string& entry, void* address) {
  std::lock_guard<std::mutex> lock(mutex_);
  set_entries_[{Upper(library), entry}] = address;
}

Module FakeLibraries::LoadLibrary(std::u16string_view name) {
  const std::u16string key = Upper(name);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (removed_libraries_.count(key) != 0) {
      system_.SetLastError(kErrModNotFound);
      return 0;
    }
  }
  const Module module = real_.LoadLibrary(name);
  if (module != 0) {
    std::lock_guard<std::mutex> lock(mutex_);
    loaded_[module] = key;
  }
  return module;
}

void* FakeLibraries::GetProcAddress(Module library, const char* name) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto it = loaded_.find(library);
    if (it != loaded_.end() && name != nullptr &&
        removed_entries_.count({it->second, name}) != 0) {
      system_.SetLastError(kErrProcNotFound);
      return nullptr;
    }
    if (it != loaded_.end() && name != nullptr) {
      const auto set = set_entries_.find({it->second, name});
      if (set != set_entries_.end()) {
        system_.SetLastError(kOk);
        return set->second;
      }
    }
  }
  return real_.GetProcAddress(library, name);
}

bool FakeLibraries::FreeLibrary(Module library) {
  return real_.FreeLibrary(library);
}

}  // namespace plat
