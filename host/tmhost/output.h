// host/tmhost/output.h: how tmhost writes values and call results, plain
// and as JSON.
#pragma once

#include <string>

#include "host/refhost/result.h"

namespace tmhost {

// Plain: integers in decimal, reals in their shortest form, true/false,
// decimals with their scale, texts as UTF-8, byte buffers in lower-case
// hexadecimal, a structure one member per line; "" for no value.
std::string PlainValue(const refhost::Value& value);
// JSON: numbers for integers, reals and decimals, true/false, strings for
// texts, {"hex":"..."} for byte buffers, an array for a structure's
// members, null for no value.
std::string JsonValue(const refhost::Value& value);

// {"number":N,"severity":S,"message":"...","system_code":C,
//  "system_text":"..."}, or null when no error was raised.
std::string ErrorJson(const refhost::ErrorInfo& error);

// {"function":FN,"syntax":K,"result":VALUE,"result_type":CODE,
//  "error":...} with "forwarded":{"component":C,"index":K} for a
// forwarded call.
std::string CallJson(const refhost::CallResult& r);

}  // namespace tmhost
