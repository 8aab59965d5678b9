// frame/execution_sink.h: the session object the VM's attach creates. Its
// slots answer the session events; only event 5238 has a body, which hands
// the event to the component's live objects.
#pragma once

#include <cstdint>

#include "frame/abi.h"

namespace frame {

class ExecutionSinkBase {
 public:
  virtual ~ExecutionSinkBase() = default;
  virtual Word Query() { return 1; }                      // slot 0
  virtual void AttachNotice(Word, Word) {}                // slot 1
  virtual void Close(Word) {}                             // slot 2
  virtual void Event4879(Word, Word) {}                   // slot 3
  virtual void Event5684(Word, Word) {}                   // slot 4
  virtual void Event5864(Word, Word) {}                   // slot 5
  virtual Word Event4963FollowUp(Word) { return 1; }      // slot 6
  virtual Word Event5238(Word, Word) { return 0; }        // slot 7

  Word peer_module = 0;
  ExecutionFn peer_execution = nullptr;
  bool closing = false;
};

class ExecutionSink final : public ExecutionSinkBase {
 public:
  Word Event5238(Word p, Word q) override;
};

// Objects that want event 5238. Entries 0 and 1 belong to the frame; the
// event goes to the entries from the third on.
class LiveObject {
 public:
  virtual ~LiveObject() = default;
  virtual void OnEvent5238(Word p, Word q) = 0;
};
void RegisterLiveObject(LiveObject* object);
void UnregisterLiveObject(LiveObject* object);

// What the peer module answered at attach.
struct PeerValues {
  Word session = 0;        // query 9: the peer's session object
  Word window = 0;         // query 10
  Word event_value = 0;    // query 12; also event 4878's value
  Word memory = 0;         // query 13: the VM's memory manager
  Word device = 0;         // query 15
  Word query7 = 0;         // the attach record's preset, or query 7
  Word query1 = 0, query5 = 0, query2 = 0, query3 = 0, query4 = 0,
       query14 = 0;
  Word query8 = kDefaultQuery8;  // running maximum
  static constexpr Word kDefaultQuery8 = 0x400;
};
const PeerValues& Peer();
ExecutionSinkBase* Sink();
int AttachCount();
Word EventValue4878();

// The peer session object of query 9: its slot 0 is (object, p, q).
struct PeerSession {
  const Word* ops;
};
using PeerSessionFn = Word (*)(PeerSession*, Word, Word);

}  // namespace frame
