// host/disk_size_settings.h: the "DiskSize" mask settings that the VM
// answers through services slot 123 (a pointer to this record, valid for
// the whole call). The byte-size function takes its decimal separator and,
// when the list is not empty, its unit names from here.
#pragma once

namespace vm {

struct DiskSizeSettings {
  char16_t decimal_separator;  // replaces every "." of "%#.2f"
  char16_t reserved[3];        // zero
  // Up to six unit names separated by ";" (bytes first; the first may end
  // with the plural marker "(s)"). Null or empty: the component's own list.
  const char16_t* unit_names;
};

}  // namespace vm
