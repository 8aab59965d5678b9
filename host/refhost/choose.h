// host/refhost/choose.h: which syntax of a function a call takes, the way
// tmhost chooses: the first syntax whose parameter count fits the number of
// arguments and whose parameter base types accept them. A first round
// knows only the codes each argument kind is made for; when no syntax fits,
// a second round also lets arguments through to the pass-through codes
// (see Fits).
#pragma once

#include <span>
#include <string>

#include "host/refhost/args.h"
#include "host/refhost/catalogue.h"

namespace refhost {

// Whether `s` takes `args`: the count equals the listed parameters, or is
// larger when the syntax takes further arguments (those are not checked).
// On false, *why says what does not fit.
bool SyntaxFits(const SyntaxRecord& s, std::span<const Arg> args, bool extended,
                std::string* why);

// The 1-based number of the syntax a call takes, or 0 when none fits.
int ChooseSyntax(const FunctionRecord& f, std::span<const Arg> args);

// "0x79 (0x7A, 0x8)": a signature for messages.
std::string SignatureText(const SyntaxRecord& s);

}  // namespace refhost
