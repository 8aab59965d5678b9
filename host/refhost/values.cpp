// host/refhost/values.cpp: copying values by type code, and the host's own
// composite values.
#include "host/refhost/values.h"

#include <array>
#include <cstring>

#include "host/unset_slots.h"

namespace refhost {
namespace {

template <class T>
T Load(const void* p) {
  T v;
  std::memcpy(&v, p, sizeof(v));
  return v;
}

char16_t* TakeText(const void* value, std::vector<char16_t*>* taken) {
  auto* text = Load<char16_t*>(value);
  if (text != nullptr) {
    Blocks::AddRef(text);
    taken->push_back(text);
  }
  return text;
}

// The composite value as the host builds it: the VM's record, then what
// the host keeps beside it.
struct HostValue : frame::AnyValue {
  const ValueContext* context;
  char16_t* owned;  // the text object the value holds a reference on
};

HostValue* AsHost(frame::AnyValue* v) { return static_cast<HostValue*>(v); }

void DropOwned(HostValue* v) {
  v->context->blocks.Release(v->owned);
  v->owned = nullptr;
}

void Hold(HostValue* v, char16_t* text) {
  DropOwned(v);
  v->owned = text;
  v->storage.text = text;
}

bool IsTextType(std::uint32_t type) {
  return type == 16 || type == 148 || type == 149;
}

void ReleaseSlot(frame::AnyValue* value, std::uint32_t) {
  HostValue* v = AsHost(value);
  DropOwned(v);
  v->type &= ~0xFFu;
  std::memset(&v->storage, 0, sizeof(v->storage));
}

void StoreSlot(frame::AnyValue* value, frame::Word word) {
  HostValue* v = AsHost(value);
  const void* from = reinterpret_cast<const void*>(word);
  switch (v->type & 0xFF) {
    case 1:
    case 8:
      DropOwned(v);
      v->storage.i64 = 0;
      v->storage.i32 = Load<std::int32_t>(from);
      break;
    case 9:
      DropOwned(v);
      v->storage.i64 = Load<std::int64_t>(from);
      break;
    case 10:
      DropOwned(v);
      v->storage.decimal = Load<frame::Decimal>(from);
      break;
    case 12:
      DropOwned(v);
      v->storage.real = Load<double>(from);
      break;
    case 16:
    case 28: {
      auto* text = Load<char16_t*>(from);
      Blocks::AddRef(text);
      Hold(v, text);
      break;
    }
    default:  // the one-word types: the word itself
      DropOwned(v);
      v->storage.i64 = static_cast<std::int64_t>(word);
      break;
  }
}

std::uint32_t TextSlot(frame::AnyValue* value, char16_t** dest) {
  HostValue* v = AsHost(value);
  char16_t* text = nullptr;
  if (IsTextType(v->type & 0xFF)) {
    text = v->owned;
    Blocks::AddRef(text);
  } else {
    const std::uint32_t status =
        v->context->convert(&v->storage, v->type & 0xFF, &text, 16, 0, 0);
    if (status >= 100) return status;
  }
  v->context->blocks.Release(*dest);
  *dest = text;
  return 0;
}

const char16_t* DirectSlot(frame::AnyValue*) { return nullptr; }

struct ValueTag {
  static constexpr const char* kName = "VM's composite value interface";
};

const frame::Word* ValueOps() {
  static const auto ops = [] {
    auto table = vm::UnsetTable<ValueTag, frame::kValueSlotCount>();
    table[frame::kValueRelease] = vm::SlotWord(&ReleaseSlot);
    table[frame::kValueStore] = vm::SlotWord(&StoreSlot);
    table[frame::kValueText] = vm::SlotWord(&TextSlot);
    table[frame::kValueDirect] = vm::SlotWord(&DirectSlot);
    return table;
  }();
  return ops.data();
}

}  // namespace

bool IsByteBlockType(std::uint32_t type) {
  return type == 27 || type == 28 || type == 126;
}

bool CopyValue(const void* value, std::uint32_t type, Value* out,
               std::uint32_t* held_type, std::vector<char16_t*>* taken) {
  switch (type) {
    case 1:
      *out = Load<std::uint32_t>(value) != 0;
      return true;
    case 8:
    case 140:
      *out = std::int64_t{Load<std::int32_t>(value)};
      return true;
    case 9:
      *out = Load<std::int64_t>(value);
      return true;
    case 10:
      *out = Load<frame::Decimal>(value);
      return true;
    case 12:
      *out = Load<double>(value);
      return true;
    case 14:
    case 15:
      *out = static_cast<std::int64_t>(Load<frame::Word>(value));
      return true;
    case 16:
    case 121:
    case 130:
      *out = Blocks::TextOf(TakeText(value, taken));
      return true;
    case 27:
    case 28:
    case 126:
      *out = Blocks::BytesOf(TakeText(value, taken));
      return true;
    case 31: {
      const auto* any = static_cast<const frame::AnyValue*>(value);
      const std::uint32_t held = any->type & 0xFF;
      *held_type = held;
      if (held == 0) {
        *out = std::monostate();
        return true;
      }
      std::uint32_t unused = 0;
      return held != 31 && CopyValue(&any->storage, held, out, &unused, taken);
    }
    default:
      return false;
  }
}

frame::AnyValue* NewHostValue(const Arg& arg, const ValueContext* context) {
  auto* v = new HostValue{};
  v->ops = ValueOps();
  v->context = context;
  v->owned = nullptr;
  switch (arg.kind) {
    case ArgKind::kInt:
      v->type = 8;
      v->storage.i32 = static_cast<std::int32_t>(arg.integer);
      break;
    case ArgKind::kInt64:
      v->type = 9;
      v->storage.i64 = arg.integer;
      break;
    case ArgKind::kWord:
      v->type = 9;
      v->storage.i64 = arg.integer;
      break;
    case ArgKind::kBool:
      v->type = 1;
      v->storage.i32 = static_cast<std::int32_t>(arg.integer);
      break;
    case ArgKind::kReal:
      v->type = 12;
      v->storage.real = arg.real;
      break;
    case ArgKind::kDecimal:
      v->type = 10;
      v->storage.decimal = arg.decimal;
      break;
    case ArgKind::kText:
      v->type = 16;
      Hold(v, context->blocks.NewText(arg.text));
      break;
    case ArgKind::kBytes:
      v->type = 28;
      Hold(v, context->blocks.New(arg.bytes.data(), arg.bytes.size()));
      break;
    case ArgKind::kEmpty:
      v->type = 0;
      break;
  }
  return v;
}

Value HostValueContents(const frame::AnyValue* value) {
  Value out;
  std::uint32_t held = 0;
  std::vector<char16_t*> taken;
  const auto* v = static_cast<const HostValue*>(value);
  if (!CopyValue(value, 31, &out, &held, &taken)) {
    out = static_cast<std::int64_t>(v->storage.i64);
  }
  for (char16_t* t : taken) v->context->blocks.Release(t);
  return out;
}

void DeleteHostValue(frame::AnyValue* value) {
  if (value == nullptr) return;
  HostValue* v = AsHost(value);
  DropOwned(v);
  delete v;
}

}  // namespace refhost
