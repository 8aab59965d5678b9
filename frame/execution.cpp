// frame/execution.cpp: the Execution entry point: attach and detach of
// sessions and the session events.
#include <algorithm>
#include <new>
#include <vector>

#include "frame/entry.h"
#include "frame/execution_sink.h"
#include "frame/exports.h"
#include "frame/text.h"
#include "platform/platform.h"

namespace frame {
namespace {

ExecutionSinkBase* sink = nullptr;
int attach_count = 0;
Word event_value_4878 = 0;
PeerValues peer;
std::vector<LiveObject*>& LiveObjects() {
  static std::vector<LiveObject*> objects(2, nullptr);
  return objects;
}

enum Event : std::uint32_t {
  kAttach = 3985,
  kDetach = 4875,
  kSetValue = 4878,
  kEvent4879 = 4879,
  kEvent4963 = 4963,
  kEvent5238 = 5238,
  kEvent5684 = 5684,
  kEvent5864 = 5864,
  kPeerQuery = 3053,
};

// Binds the session object to the peer module named in the record.
Word Attach(const AttachRecord* record) {
  if (record == nullptr) return 0;
  if (sink == nullptr) {
    sink = new (std::nothrow) ExecutionSink();
    if (sink == nullptr) return 0;
  }
  auto execution = reinterpret_cast<ExecutionFn>(
      plat::Current().modules.FindExport(record->peer_module, "Execution"));
  if (execution == nullptr) return 0;
  auto ask = [&](Word n) { return execution(kPeerQuery, n, 0); };
  peer.session = ask(9);
  peer.window = ask(10);
  peer.event_value = ask(12);
  event_value_4878 = peer.event_value;
  peer.memory = ask(13);
  SetMemoryManager(reinterpret_cast<MemoryManager*>(peer.memory));
  peer.device = ask(15);

  sink->peer_module = record->peer_module;
  sink->peer_execution = execution;
  // Kept as is: the preset is read whenever the size word reaches 12,
  // although it lies at the sixteenth byte.
  const Word preset = record->size >= 12 ? record->preset : 0;
  peer.query7 = preset != 0 ? preset : ask(7);
  peer.query1 = ask(1);
  peer.query5 = ask(5);
  peer.query2 = ask(2);
  peer.query3 = ask(3);
  peer.query4 = ask(4);
  peer.query14 = ask(14);
  peer.query8 = std::max(peer.query8, ask(8));

  sink->AttachNotice(record->notice_p, record->notice_q);
  ++attach_count;
  return 1;
}

Word Detach() {
  if (sink == nullptr) return 1;
  if (--attach_count > 0) return 1;
  attach_count = 0;
  sink->Close(1);
  delete sink;
  sink = nullptr;
  return 1;
}

Word Event4963(Word p, Word q) {
  auto* session = reinterpret_cast<PeerSession*>(peer.session);
  if (session == nullptr || session->ops == nullptr) return 1;
  auto ask = reinterpret_cast<PeerSessionFn>(session->ops[0]);
  if (ask == nullptr || ask(session, p, q) < 2) return 1;
  if (sink == nullptr) return 2;
  return sink->Event4963FollowUp(p) == 0 ? 2 : 1;
}

}  // namespace

Word ExecutionSink::Event5238(Word p, Word q) {
  std::vector<LiveObject*>& objects = LiveObjects();
  if (objects.size() <= 2) return 1;
  for (std::size_t i = 2; i < objects.size(); ++i) {
    if (objects[i] != nullptr) objects[i]->OnEvent5238(p, q);
  }
  return 1;
}

void RegisterLiveObject(LiveObject* object) {
  LiveObjects().push_back(object);
}

void UnregisterLiveObject(LiveObject* object) {
  std::vector<LiveObject*>& objects = LiveObjects();
  auto found = std::find(objects.begin() + 2, objects.end(), object);
  if (found != objects.end()) objects.erase(found);
}

const PeerValues& Peer() { return peer; }
ExecutionSinkBase* Sink() { return sink; }
int AttachCount() { return attach_count; }
Word EventValue4878() { return event_value_4878; }

Word Execution(std::uint32_t event, Word p, Word q) {
  switch (event) {
    case kAttach:
      return Attach(reinterpret_cast<const AttachRecord*>(p));
    case kDetach:
      return Detach();
    case kSetValue:
      event_value_4878 = p;
      return 1;
    case kEvent4879:
      if (sink != nullptr) sink->Event4879(p, q);
      return 1;
    case kEvent4963:
      return Event4963(p, q);
    case kEvent5238:
      return sink != nullptr && sink->Event5238(p, q) != 0 ? 1 : 0;
    case kEvent5684:
      if (sink != nullptr) sink->Event5684(p, q);
      return 1;
    case kEvent5864:
      if (sink != nullptr) sink->Event5864(p, q);
      return 1;
    default:
      return 0;
  }
}

// Library end: tell the peer the session closes, then drop the object.
void ShutdownSession() {
  if (sink != nullptr && !sink->closing) {
    if (sink->peer_execution != nullptr) sink->peer_execution(3052, 0, 2816);
    delete sink;
    sink = nullptr;
    attach_count = 0;
  }
  peer = PeerValues();
  event_value_4878 = 0;
  SetMemoryManager(nullptr);
}

}  // namespace frame
