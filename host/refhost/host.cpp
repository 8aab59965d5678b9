// host/refhost/host.cpp: loading, the life cycle, and calls.
#include "host/refhost/host.h"

#include <algorithm>

#include "host/refhost/choose.h"
#include "host/refhost/prepared_call.h"

namespace refhost {
namespace {

constexpr std::uint32_t kEventAttach = 3985;
constexpr std::uint32_t kEventDetach = 4875;
constexpr std::uint32_t kCommandFetch = 3;
constexpr std::uint32_t kCommandClass = 4;
constexpr std::size_t kMaxMessage = std::size_t{1} << 20;

std::string ArgKinds(std::span<const Arg> args) {
  std::string kinds;
  for (const Arg& a : args) {
    if (!kinds.empty()) kinds += ' ';
    kinds += KindName(a.kind);
  }
  return kinds.empty() ? "no argument" : kinds;
}

}  // namespace

std::u16string ErrorInfo::Message() const {
  std::u16string all;
  for (const std::u16string& t : texts) {
    if (!all.empty()) all += u'\n';
    all += t;
  }
  return all;
}

Host::Host() = default;

Host::~Host() { Stop(); }

bool Host::Fail(std::string message) {
  last_error_ = std::move(message);
  return false;
}

bool Host::Load(const std::string& component_path, const std::string& vm_path) {
  const std::string program_dir = ExecutableDirectory();
  const std::string path = component_path.empty()
                               ? program_dir + "/" + kComponentFile
                               : component_path;
  std::string vm = vm_path;
  if (vm.empty()) {
    vm = DirectoryOf(path) + "/" + kVmFile;
    if (!FileExists(vm)) vm = program_dir + "/" + kVmFile;
  }
  if (!FileExists(path)) return Fail("no component library at " + path);
  std::string error;
  if (!vm_module_.Open(vm, &error)) return Fail(error);
  const auto control_fn = vm_module_.Get<vm::ControlFn>(vm::kControlSymbol);
  const auto convert =
      vm_module_.Get<frame::ConversionFn>("nConversionDepassementExt");
  if (control_fn == nullptr || convert == nullptr) {
    return Fail(vm + " is not the reference VM module");
  }
  control_ = control_fn();
  control_->ClearRecords();
  if (!component_.Open(path, &error)) return Fail(error);

  exports_.init = component_.Get<frame::BInitLibraryFn>("bInitLibrary");
  exports_.term = component_.Get<frame::TermLibraryFn>("TermLibrary");
  exports_.info = component_.Get<frame::InfoComposanteFn>("InfoComposante");
  exports_.execution = component_.Get<frame::ExecutionExportFn>("Execution");
  exports_.command =
      component_.Get<frame::CommandeComposanteFn>("CommandeComposante");
  exports_.bind_conversion =
      component_.Get<frame::BInitTLConvFromVMFn>("bInitTLConvFromVM");
  exports_.query_proxy = component_.Get<frame::PQueryProxyFn>("pQueryProxy");
  exports_.declare_proxy =
      component_.Get<frame::DeclareProxyFn>("DeclareProxy");
  exports_.compact = component_.Get<frame::NfCompacteFn>("nfCompacte");
  exports_.decompact =
      component_.Get<frame::NfDecompacteFn>("nfDecompacte");
  if (exports_.init == nullptr || exports_.term == nullptr ||
      exports_.info == nullptr || exports_.execution == nullptr ||
      exports_.command == nullptr || exports_.bind_conversion == nullptr) {
    component_.Close();
    return Fail(path + " lacks one of the component's entry points");
  }
  Blocks blocks(control_->Memory());
  services_ = std::make_unique<Services>(control_, blocks);
  values_ = std::make_unique<ValueContext>(ValueContext{blocks, convert});
  return true;
}

bool Host::Start() {
  return InitLibrary() && BindConversion() && ReadTables() && Attach() == 1;
}

void Host::Stop() {
  if (!component_.is_open()) return;
  while (attach_count_ > 0) Detach();
  if (initialised_) Terminate();
}

bool Host::InitLibrary() {
  if (!loaded()) return Fail("no component loaded");
  if (exports_.init(vm_module_.handle_word()) == 0) {
    return Fail("bInitLibrary answered 0");
  }
  initialised_ = true;
  return true;
}

bool Host::BindConversion(std::uint32_t major, std::uint32_t minor) {
  if (!loaded()) return Fail("no component loaded");
  if (exports_.bind_conversion(vm_module_.handle_word(), major, minor, 0) ==
      0) {
    return Fail("bInitTLConvFromVM answered 0");
  }
  return true;
}

bool Host::ReadTables() {
  if (!loaded()) return Fail("no component loaded");
  std::string error;
  if (!ReadCatalogue(exports_.info, &catalogue_, &error)) return Fail(error);
  return true;
}

frame::Word Host::Attach(const frame::AttachRecord* record) {
  if (!loaded()) {
    Fail("no component loaded");
    return 0;
  }
  frame::AttachRecord own{20, vm_module_.handle_word(), 0, 0, 0};
  const frame::AttachRecord* r = record != nullptr ? record : &own;
  const frame::Word answer =
      exports_.execution(kEventAttach, reinterpret_cast<frame::Word>(r), 0);
  if (answer == 1) {
    ++attach_count_;
  } else {
    last_error_ = "Execution(3985) answered " + std::to_string(answer);
  }
  return answer;
}

frame::Word Host::Detach() {
  if (!loaded()) return 0;
  if (attach_count_ > 0) --attach_count_;
  return exports_.execution(kEventDetach, 0, 0);
}

void Host::Terminate() {
  if (!loaded()) return;
  exports_.term(0);
  initialised_ = false;
  attach_count_ = 0;  // the end of the library ends its sessions
}

frame::Word Host::Info(std::uint32_t code, std::uint32_t index) const {
  return exports_.info == nullptr ? 0 : exports_.info(code, index);
}

frame::Word Host::Execution(std::uint32_t event, frame::Word p, frame::Word q) {
  return exports_.execution == nullptr ? 0 : exports_.execution(event, p, q);
}

frame::Word Host::Command(std::uint32_t command, frame::Word record,
                          frame::Word a, frame::Word b) {
  return exports_.command == nullptr ? 0
                                     : exports_.command(command, record, a, b);
}

const SyntaxRecord* Host::Select(std::uint32_t function, int* syntax,
                                 std::span<const Arg> args,
                                 std::string* why) const {
  const std::string fn = "function " + std::to_string(function);
  if (catalogue_.functions.empty()) {
    *why = "the host has not read the component's tables";
    return nullptr;
  }
  const FunctionRecord* f = catalogue_.Function(function);
  if (f == nullptr) {
    *why = "unknown function " + std::to_string(function) +
           ": functions are numbered 1 to " +
           std::to_string(catalogue_.functions.size());
    return nullptr;
  }
  const int count = static_cast<int>(f->syntaxes.size());
  if (*syntax == 0) {
    *syntax = ChooseSyntax(*f, args);
    if (*syntax == 0) {
      *why = "no syntax of " + fn + " fits the arguments (" + ArgKinds(args) +
             "); its syntaxes:";
      for (int k = 0; k < count; ++k) {
        *why += "\n  " + std::to_string(k + 1) + ". " +
                SignatureText(f->syntaxes[k]);
      }
      return nullptr;
    }
  } else if (*syntax < 1 || *syntax > count) {
    *why = fn + " has " + std::to_string(count) +
           " syntax(es); there is no syntax " + std::to_string(*syntax);
    return nullptr;
  }
  const SyntaxRecord& s = f->syntaxes[*syntax - 1];
  const std::string where = "syntax " + std::to_string(*syntax) + " of " + fn;
  if (s.handler == 0) {
    *why = where + " has no handler in this build";
    return nullptr;
  }
  std::string mismatch;
  if (!SyntaxFits(s, args, true, &mismatch)) {
    *why = where + " " + mismatch;
    return nullptr;
  }
  return &s;
}

CallResult Host::CallArgs(std::uint32_t function, int syntax,
                          std::span<const Arg> args) {
  CallResult r;
  r.function = function;
  const SyntaxRecord* s = Select(function, &syntax, args, &r.refused);
  r.syntax = syntax;
  if (s == nullptr) {
    if (const FunctionRecord* f = catalogue_.Function(function);
        f != nullptr && syntax >= 1 &&
        syntax <= static_cast<int>(f->syntaxes.size())) {
      r.result_type =
          static_cast<std::uint32_t>(f->syntaxes[syntax - 1].result());
    }
    return r;
  }
  r.result_type = static_cast<std::uint32_t>(s->result());

  const std::int64_t before = LiveBlocks();
  {
    PreparedCall call(services_.get(), values_.get(), *s, args);
    if (!call.ok()) {
      r.refused = "the memory manager refused a block for an argument";
      return r;
    }
    r.status = call.Run();
    call.Collect(&r);
  }
  if (frame::BaseType(r.set_type) == frame::kTypeOwnKind) {
    if (const auto* v = std::get_if<std::int64_t>(&r.value)) {
      const auto handle =
          static_cast<frame::Word>(static_cast<std::uint32_t>(*v));
      if (auto structure = services_->FindStructure(handle)) {
        r.value = std::move(structure);
      }
    }
  }
  r.block_delta = LiveBlocks() - before;
  return r;
}

std::unique_ptr<PreparedCall> Host::Prepare(std::uint32_t function, int syntax,
                                            std::span<const Arg> args,
                                            std::string* why) {
  const SyntaxRecord* s = Select(function, &syntax, args, why);
  if (s == nullptr) return nullptr;
  auto call =
      std::make_unique<PreparedCall>(services_.get(), values_.get(), *s, args);
  if (!call->ok()) {
    *why = "the memory manager refused a block for an argument";
    return nullptr;
  }
  return call;
}

std::optional<MemberResult> Host::ReadMember(std::uint32_t number,
                                             void* object) {
  const MemberRecord* m = catalogue_.Member(number);
  if (m == nullptr || m->read == 0) return std::nullopt;
  Capture capture;
  frame::AccessorRecord record{reinterpret_cast<frame::Word>(&capture), 0,
                               services_->interface()};
  const auto accessor = reinterpret_cast<frame::Accessor>(m->read);
  MemberResult out;
  out.status = accessor(object, &record);
  out.set_calls = capture.calls;
  out.type = capture.type;
  out.value = std::move(capture.value);
  services_->ReleaseTaken(&capture);
  return out;
}

std::optional<Message> Host::FetchMessage(std::uint32_t number) {
  const auto message_class = static_cast<std::int32_t>(
      static_cast<std::uint32_t>(Command(kCommandClass, number)));
  if (message_class == -1) return std::nullopt;
  std::u16string buffer(256, u'\0');
  frame::Word n = 0;
  for (;;) {
    frame::MessageFetch record{0, number,
                               reinterpret_cast<frame::Word>(buffer.data()),
                               buffer.size(), 0};
    n = Command(kCommandFetch, reinterpret_cast<frame::Word>(&record));
    if (n + 1 < buffer.size() || buffer.size() >= kMaxMessage) break;
    buffer.assign(buffer.size() * 4, u'\0');
  }
  Message m;
  m.text = buffer.substr(0, std::min<std::size_t>(n, buffer.size()));
  m.message_class = message_class;
  return m;
}

std::optional<ErrorDefinition> Host::FindErrorDefinition(
    std::uint32_t number) {
  // The VM learns the descriptor from the errors it receives: provoke one
  // (function 3 refuses a day number this far out of range).
  const CallResult probe = CallSyntax(3, 1, -2147483647);
  const frame::Word* descriptor = probe.error.component;
  if (descriptor == nullptr) return std::nullopt;
  const auto* table = reinterpret_cast<const frame::Word*>(descriptor[0]);
  const frame::Word count = descriptor[1];
  for (frame::Word i = 0; i < count; ++i) {
    const frame::Word* row = table + i * 4;
    if (row[0] != number) continue;
    return ErrorDefinition{static_cast<std::uint32_t>(row[0]),
                           static_cast<std::uint32_t>(row[1]),
                           static_cast<std::uint32_t>(row[2]),
                           static_cast<std::uint32_t>(row[3])};
  }
  return std::nullopt;
}

}  // namespace refhost
