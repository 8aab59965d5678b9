// host/tmhost/output.cpp: writing values and call results.
#include "host/tmhost/output.h"

#include <type_traits>

#include "host/common/decimal_text.h"
#include "host/common/encoding.h"
#include "host/tmhost/json.h"

namespace tmhost {
namespace {

template <class... F>
struct Overload : F... {
  using F::operator()...;
};
template <class... F>
Overload(F...) -> Overload<F...>;

std::string Number(std::uint64_t v) { return std::to_string(v); }

}  // namespace

std::string PlainValue(const refhost::Value& value) {
  return std::visit(
      Overload{
          [](std::monostate) { return std::string(); },
          [](std::int64_t v) { return std::to_string(v); },
          [](double v) { return RealText(v); },
          [](bool v) { return std::string(v ? "true" : "false"); },
          [](const frame::Decimal& v) { return common::FormatDecimal(v); },
          [](const std::u16string& v) { return common::Utf16ToUtf8(v); },
          [](const refhost::Bytes& v) { return common::HexLower(v); },
          [](const std::shared_ptr<const refhost::Structure>& s) {
            std::string out;
            for (const auto& [index, member] : s->members) {
              if (!out.empty()) out += '\n';
              out += "member " + std::to_string(index) + " (type " +
                     std::to_string(member.type) +
                     "): " + PlainValue(member.value);
            }
            return out;
          },
      },
      value);
}

std::string JsonValue(const refhost::Value& value) {
  return std::visit(
      Overload{
          [](std::monostate) { return std::string("null"); },
          [](std::int64_t v) { return std::to_string(v); },
          [](double v) { return JsonReal(v); },
          [](bool v) { return std::string(v ? "true" : "false"); },
          [](const frame::Decimal& v) { return common::FormatDecimal(v); },
          [](const std::u16string& v) { return JsonString(v); },
          [](const refhost::Bytes& v) {
            return "{\"hex\":" + JsonString(common::HexLower(v)) + "}";
          },
          [](const std::shared_ptr<const refhost::Structure>& s) {
            std::string out = "[";
            for (std::uint32_t i = 0; i < s->member_count; ++i) {
              if (i > 0) out += ',';
              const auto it = s->members.find(i);
              out +=
                  it == s->members.end() ? "null" : JsonValue(it->second.value);
            }
            return out + "]";
          },
      },
      value);
}

std::string ErrorJson(const refhost::ErrorInfo& error) {
  if (!error.raised()) return "null";
  return "{\"number\":" + Number(error.number) +
         ",\"severity\":" + Number(error.severity) +
         ",\"message\":" + JsonString(error.Message()) +
         ",\"system_code\":" + Number(error.system_code) +
         ",\"system_text\":" + JsonString(error.system_text) + "}";
}

std::string CallJson(const refhost::CallResult& r) {
  std::string out = "{\"function\":" + Number(r.function) +
                    ",\"syntax\":" + std::to_string(r.syntax) +
                    ",\"result\":" + JsonValue(r.value) +
                    ",\"result_type\":" + Number(r.result_type) +
                    ",\"error\":" + ErrorJson(r.error);
  if (r.forwarded()) {
    out += ",\"forwarded\":{\"component\":" + Number(r.forward_component) +
           ",\"index\":" + Number(r.forward_index) + "}";
  }
  return out + "}";
}

}  // namespace tmhost
