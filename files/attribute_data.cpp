// files/attribute_data.cpp: FileSystemLayer::GetFileAttributesEx, through
// the system's entry point where it has one, else through a search.
#include "files/fs_layer.h"
#include "files/fs_reports.h"

namespace files {

namespace {

plat::SystemTime LocalCalendar(plat::FileTime utc) {
  plat::SystemTime calendar;
  plat::FileTimeToSystemTime(plat::FileTimeToLocal(utc), &calendar);
  return calendar;
}

plat::FileTime Join(std::uint32_t high, std::uint32_t low) {
  return (static_cast<std::uint64_t>(high) << 32) | low;
}

void Fill(AttributeData* data, std::uint32_t attributes,
          plat::FileTime creation, plat::FileTime last_access,
          plat::FileTime last_write, std::uint64_t size) {
  data->attributes = attributes;
  data->creation = LocalCalendar(creation);
  data->last_access = LocalCalendar(last_access);
  data->last_write = LocalCalendar(last_write);
  data->size = size;
}

}  // namespace

bool FileSystemLayer::GetFileAttributesEx(std::u16string_view path,
                                          AttributeData* data,
                                          frame::CXError* sink) {
  const std::u16string full = FullPath(path);
  plat::Libraries& libraries = plat::Current().libraries;
  // Looked up at each call: the entry point is missing on older systems.
  plat::GetFileAttributesExFn entry = nullptr;
  const plat::Module core = libraries.LoadLibrary(u"COREDLL.DLL");
  if (core != 0) {
    entry = reinterpret_cast<plat::GetFileAttributesExFn>(
        libraries.GetProcAddress(core, "GetFileAttributesExW"));
  }
  if (entry != nullptr) {
    plat::Win32AttributeData raw{};
    const bool done = entry(full.c_str(), 0, &raw) != 0;
    const plat::SysErr err =
        done ? plat::kOk : plat::Current().system.LastError();
    libraries.FreeLibrary(core);
    if (!done) {
      FileReport(sink, err, kNoMessage);
      return false;
    }
    Fill(data, raw.attributes, Join(raw.creation_high, raw.creation_low),
         Join(raw.access_high, raw.access_low),
         Join(raw.write_high, raw.write_low),
         Join(raw.size_high, raw.size_low));
    return true;
  }
  if (core != 0) libraries.FreeLibrary(core);

  // Without the entry point a one-entry search gives the same data.
  plat::FileData entry_data;
  plat::Handle search = plat::kInvalidHandle;
  if (const plat::SysErr err =
          plat::Current().files.FindFirst(full, &entry_data, &search);
      err != plat::kOk) {
    FileReport(sink, err, kNoMessage);
    return false;
  }
  plat::Current().files.FindClose(search);
  Fill(data, entry_data.attributes, entry_data.creation, entry_data.last_access,
       entry_data.last_write, entry_data.size);
  return true;
}

}  // namespace files
