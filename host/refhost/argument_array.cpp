// host/refhost/argument_array.cpp: building and releasing an argument array.
#include "host/refhost/argument_array.h"

#include <cstring>

namespace refhost {
namespace {

// The parameter code an argument takes beyond a syntax's listed ones.
std::uint32_t NaturalCode(ArgKind kind) {
  switch (kind) {
    case ArgKind::kInt:
      return frame::kTypeInt;
    case ArgKind::kInt64:
      return frame::kTypeInt64;
    case ArgKind::kBool:
      return frame::kTypeBool;
    case ArgKind::kReal:
      return frame::kTypeReal;
    case ArgKind::kDecimal:
      return frame::kTypeDecimal;
    case ArgKind::kText:
      return frame::kTypeTextParam;
    case ArgKind::kBytes:
      return frame::kTypeBufferParam;
    case ArgKind::kWord:
      return frame::kTypeWordParam;
    case ArgKind::kEmpty:
      return frame::kTypeAny;
  }
  return frame::kTypeAny;
}

bool IsPointerText(std::uint32_t base) {
  return base == frame::kTypeTextParam || base == frame::kTypeGeneric ||
         base == frame::kTypeWordParam;
}

template <class T>
void Store(void* slot, const T& value) {
  std::memcpy(slot, &value, sizeof(value));
}

template <class T>
T Load(const void* slot) {
  T value;
  std::memcpy(&value, slot, sizeof(value));
  return value;
}

}  // namespace

ArgumentArray::ArgumentArray(const SyntaxRecord& syntax,
                             std::span<const Arg> args,
                             const ValueContext* context)
    : context_(context), slots_(args.size()) {
  texts_.reserve(args.size());  // kPointer slots point into these
  for (std::size_t i = 0; i < args.size(); ++i) {
    const Arg& a = args[i];
    const auto listed = static_cast<std::size_t>(syntax.param_count());
    const std::uint32_t code =
        i < listed && i + 1 < syntax.signature.size()
            ? static_cast<std::uint32_t>(syntax.param(static_cast<int>(i)))
            : NaturalCode(a.kind);
    const std::uint32_t base = frame::BaseType(code);
    void* slot = slots_[i].bytes;
    std::memset(slot, 0, sizeof(Slot));
    Held held{Form::kWord, code, false};
    if (base == frame::kTypeAny) {
      held.form = Form::kAny;
      Store(slot, NewHostValue(a, context));
    } else {
      switch (a.kind) {
        case ArgKind::kReal:
          held.form = Form::kReal;
          Store(slot, a.real);
          break;
        case ArgKind::kDecimal:
          held.form = Form::kDecimal;
          Store(slot, a.decimal);
          break;
        case ArgKind::kText:
          if (IsPointerText(base)) {
            held.form = Form::kPointer;
            texts_.push_back(a.text);
            Store(slot, texts_.back().c_str());
          } else {
            held.form = Form::kObject;
            char16_t* text = context->blocks.NewText(a.text);
            if (text == nullptr && !a.text.empty()) ok_ = false;
            Store(slot, text);
          }
          break;
        case ArgKind::kBytes: {
          held.form = Form::kObject;
          held.bytes = true;
          char16_t* text = context->blocks.New(a.bytes.data(), a.bytes.size());
          if (text == nullptr && !a.bytes.empty()) ok_ = false;
          Store(slot, text);
          break;
        }
        case ArgKind::kInt64:
          held.form = Form::kInt64;
          Store(slot, a.integer);
          break;
        default:  // one word: an int sign-extended, a boolean, a word
          Store(slot, a.integer);
          break;
      }
    }
    held_.push_back(held);
    entries_.push_back(slot);
  }
}

ArgumentArray::~ArgumentArray() {
  for (std::size_t i = 0; i < held_.size(); ++i) {
    const void* slot = slots_[i].bytes;
    if (held_[i].form == Form::kObject) {
      context_->blocks.Release(Load<char16_t*>(slot));
    } else if (held_[i].form == Form::kAny) {
      DeleteHostValue(Load<frame::AnyValue*>(slot));
    }
  }
}

std::vector<Value> ArgumentArray::Outputs() const {
  std::vector<Value> out(held_.size());
  for (std::size_t i = 0; i < held_.size(); ++i) {
    const void* slot = slots_[i].bytes;
    const Held& h = held_[i];
    if (h.form == Form::kAny) {
      out[i] = HostValueContents(Load<const frame::AnyValue*>(slot));
      continue;
    }
    if ((h.code & frame::kTypeByRef) == 0) continue;
    switch (h.form) {
      case Form::kWord:
        if (frame::BaseType(h.code) == frame::kTypeBool) {
          out[i] = Load<std::uint32_t>(slot) != 0;
        } else if (frame::BaseType(h.code) == frame::kTypeInt) {
          out[i] = std::int64_t{Load<std::int32_t>(slot)};
        } else {
          out[i] = static_cast<std::int64_t>(Load<frame::Word>(slot));
        }
        break;
      case Form::kInt64:
        out[i] = Load<std::int64_t>(slot);
        break;
      case Form::kReal:
        out[i] = Load<double>(slot);
        break;
      case Form::kDecimal:
        out[i] = Load<frame::Decimal>(slot);
        break;
      case Form::kObject: {
        const auto* text = Load<const char16_t*>(slot);
        if (h.bytes) {
          out[i] = Blocks::BytesOf(text);
        } else {
          out[i] = Blocks::TextOf(text);
        }
        break;
      }
      case Form::kPointer:
      case Form::kAny:
        break;
    }
  }
  return out;
}

}  // namespace refhost
