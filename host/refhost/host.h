// host/refhost/host.h: the reference host. It loads the component and the
// reference VM module as the VM does, drives the component's life cycle,
// reads its tables and calls its language functions by number:
//
//   refhost::Host host;
//   if (!host.Load() || !host.Start()) FAIL() << host.last_error();
//   refhost::CallResult r = host.Call(351, std::int64_t{1024});
//   host.Stop();
//
// One Host at a time per process: the component keeps process-wide state,
// and each Host loads it afresh (and unloads it when destroyed).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "frame/abi.h"
#include "frame/exports.h"
#include "frame/xerror_record.h"
#include "host/refhost/args.h"
#include "host/refhost/catalogue.h"
#include "host/refhost/library.h"
#include "host/refhost/prepared_call.h"
#include "host/refhost/result.h"
#include "host/refhost/services.h"
#include "host/refhost/values.h"
#include "host/vm/control.h"

namespace refhost {

// The ten exports of the component; the first six must be there.
struct Exports {
  frame::BInitLibraryFn init = nullptr;
  frame::TermLibraryFn term = nullptr;
  frame::InfoComposanteFn info = nullptr;
  frame::ExecutionExportFn execution = nullptr;
  frame::CommandeComposanteFn command = nullptr;
  frame::BInitTLConvFromVMFn bind_conversion = nullptr;
  frame::PQueryProxyFn query_proxy = nullptr;
  frame::DeclareProxyFn declare_proxy = nullptr;
  frame::NfCompacteFn compact = nullptr;
  frame::NfDecompacteFn decompact = nullptr;
};

// A message of the component's message block (CommandeComposante 3, 4).
struct Message {
  std::u16string text;
  int message_class = 0;
};

// A record of the component's error definition table.
struct ErrorDefinition {
  std::uint32_t number = 0;
  std::uint32_t message = 0;
  std::uint32_t subcode = 0;
  std::uint32_t severity = 0;
};

// What a member's read accessor gave through slot 200.
struct MemberResult {
  std::uint32_t status = 0;  // the accessor's answer
  int set_calls = 0;
  std::uint32_t type = 0;
  Value value;
};

class Host {
 public:
  Host();
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Loads the component (default: libtm210std.so beside the running
  // program) and the VM module (default: libtmvm.so beside the component,
  // else beside the program).
  bool Load(const std::string& component_path = "",
            const std::string& vm_path = "");

  // The VM's start-up: InitLibrary, BindConversion(2, 2), ReadTables,
  // Attach. Stop: Detach, then Terminate.
  bool Start();
  void Stop();

  // The steps one by one.
  bool InitLibrary();  // bInitLibrary(the VM module's handle)
  bool BindConversion(std::uint32_t major = 2, std::uint32_t minor = 2);
  bool ReadTables();
  // Execution(3985) with {20, VM module, p, q, 0} unless a record is given.
  frame::Word Attach(const frame::AttachRecord* record = nullptr);
  frame::Word Detach();  // Execution(4875, 0, 0)
  void Terminate();      // TermLibrary(0)

  // Why the last step failed.
  const std::string& last_error() const { return last_error_; }

  // Calls function `function` with `args`, taking the first syntax that
  // fits (see choose.h); CallSyntax forces syntax `syntax` (1-based).
  template <class... A>
  CallResult Call(std::uint32_t function, A&&... args) {
    const Arg list[] = {Arg(std::forward<A>(args))..., Arg(0)};
    return CallArgs(function, 0, std::span(list, sizeof...(A)));
  }
  template <class... A>
  CallResult CallSyntax(std::uint32_t function, int syntax, A&&... args) {
    const Arg list[] = {Arg(std::forward<A>(args))..., Arg(0)};
    return CallArgs(function, syntax, std::span(list, sizeof...(A)));
  }
  // Syntax 0: the first that fits.
  CallResult CallArgs(std::uint32_t function, int syntax,
                      std::span<const Arg> args);

  // A call made ready to run many times (see prepared_call.h); null with
  // the reason in *why when the host would refuse it.
  std::unique_ptr<PreparedCall> Prepare(std::uint32_t function, int syntax,
                                        std::span<const Arg> args,
                                        std::string* why);

  // Runs member `number`'s read accessor on `object`.
  std::optional<MemberResult> ReadMember(std::uint32_t number, void* object);

  // CommandeComposante 3 and 4 for a message number; none when command 4
  // answers -1.
  std::optional<Message> FetchMessage(std::uint32_t number);
  // The definition of an error number, read from the table that the
  // component's descriptor names (the owner of any error it raises).
  std::optional<ErrorDefinition> FindErrorDefinition(std::uint32_t number);

  // Direct use of the exports.
  frame::Word Info(std::uint32_t code, std::uint32_t index = 0) const;
  frame::Word Execution(std::uint32_t event, frame::Word p, frame::Word q);
  frame::Word Command(std::uint32_t command, frame::Word record,
                      frame::Word a = 0, frame::Word b = 0);
  const Exports& exports() const { return exports_; }

  const Catalogue& catalogue() const { return catalogue_; }
  const std::string& component_path() const { return component_.path(); }
  frame::Word vm_module() const { return vm_module_.handle_word(); }

  // The VM's side.
  vm::Control& vm() { return *control_; }
  Services& services() { return *services_; }
  const Blocks& blocks() const { return services_->blocks(); }
  void SetLanguage(std::int32_t code) { control_->SetLanguage(code); }
  std::int64_t LiveBlocks() const { return control_->Stats().live; }

  bool loaded() const { return component_.is_open(); }
  bool attached() const { return attach_count_ > 0; }

 private:
  bool Fail(std::string message);
  // The syntax a call takes (*syntax 0: the first that fits), or null with
  // the reason the host refuses it.
  const SyntaxRecord* Select(std::uint32_t function, int* syntax,
                             std::span<const Arg> args, std::string* why) const;

  Library vm_module_;
  Library component_;
  Exports exports_;
  vm::Control* control_ = nullptr;
  std::unique_ptr<Services> services_;
  std::unique_ptr<ValueContext> values_;
  Catalogue catalogue_;
  bool initialised_ = false;
  int attach_count_ = 0;
  std::string last_error_;
};

}  // namespace refhost
