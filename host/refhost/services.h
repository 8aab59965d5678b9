// host/refhost/services.h: the VM services interface that the reference
// host gives the component (slots 13, 18, 123, 149, 200, 273, 274, 278;
// every other slot stops the process), with the settings it answers from
// and the records tests read back.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "frame/abi.h"
#include "host/disk_size_settings.h"
#include "host/refhost/blocks.h"
#include "host/refhost/result.h"
#include "host/vm/control.h"

namespace refhost {

// Where slot 149 (through the frame's result slot) or slot 200 (through
// the accessor record's first word) puts what it is given.
struct Capture {
  int calls = 0;
  std::uint32_t type = 0;
  std::uint32_t held_type = 0;
  Value value;
  std::vector<char16_t*> taken;  // references the VM took
};

// Structure handles fit 32 bits: a 0x8C result carries one.
inline constexpr frame::Word kFirstStructure = 0x57000001;
// Answer to request 9 unless set: non-zero, "read the clock".
inline constexpr std::int32_t kDefaultClockAnswer = 1;

class Services {
 public:
  Services(vm::Control* control, Blocks blocks);
  Services(const Services&) = delete;
  Services& operator=(const Services&) = delete;

  frame::VmServices* interface() { return &object_; }
  const Blocks& blocks() const { return blocks_; }

  // Settings.
  vm::DiskSizeSettings& disk_size() { return disk_size_; }
  void set_clock_answer(std::int32_t answer) { clock_answer_ = answer; }
  void set_mask_settings(frame::Word word) { mask_settings_ = word; }
  frame::Word mask_settings() const { return mask_settings_; }

  // Records: every request code of slot 13, every structure of slot 273.
  std::vector<std::uint32_t> Requests() const;
  std::shared_ptr<const Structure> FindStructure(frame::Word handle) const;
  int StructureCount() const;

  // Drops the references a capture holds.
  void ReleaseTaken(Capture* capture) const;

 private:
  struct Object : frame::VmServices {
    Services* owner;
  };
  static Services* Of(frame::VmServices* svc);

  static std::int32_t Request(frame::VmServices* svc, std::uint32_t code,
                              void* buffer);
  static std::int32_t Language(frame::VmServices* svc);
  static const void* DiskSize(frame::VmServices* svc);
  static void SetResult(frame::VmServices* svc, frame::Word slot,
                        const void* value, std::uint32_t type);
  static void SetMember(frame::VmServices* svc, frame::AccessorRecord* record,
                        const void* value, std::uint32_t type);
  static frame::Word CreateStruct(frame::VmServices* svc,
                                  std::uint32_t members);
  static void SetStructMember(frame::VmServices* svc, frame::Word handle,
                              std::uint32_t index, const void* value,
                              std::uint32_t type);
  static frame::Word MaskSettings(frame::VmServices* svc);

  void Put(Capture* capture, const void* value, std::uint32_t type,
           const char* slot);

  Object object_;
  vm::Control* control_;
  Blocks blocks_;
  vm::DiskSizeSettings disk_size_{u'.', {}, nullptr};
  std::int32_t clock_answer_ = kDefaultClockAnswer;
  std::array<frame::Word, 32> mask_block_{};  // what mask_settings_ points at
  frame::Word mask_settings_;

  mutable std::mutex mutex_;
  std::vector<std::uint32_t> requests_;
  std::map<frame::Word, std::shared_ptr<Structure>> structures_;
};

}  // namespace refhost
