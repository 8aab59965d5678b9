// The entry points: table queries, service objects, message commands and the
// session events with a peer module that records what it is asked.
#include "frame/entry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "frame/catalogue.h"
#include "frame/execution_sink.h"
#include "frame/exports.h"
#include "frame/resource_block.h"
#include "platform/platform.h"

namespace frame {
namespace {

// --- a peer module -----------------------------------------------------------

struct PeerLog {
  std::vector<Word> queries;
  int shutdowns = 0;
  Word session_answer = 2;
  Word query8 = 0x10;
};
PeerLog* log_ = nullptr;

Word SessionSlot0(PeerSession*, Word, Word) { return log_->session_answer; }
const Word kSessionOps[] = {reinterpret_cast<Word>(&SessionSlot0)};
PeerSession peer_session{kSessionOps};

Word PeerExecution(std::uint32_t event, Word p, Word q) {
  if (event == 3052 && p == 0 && q == 2816) ++log_->shutdowns;
  if (event != 3053) return 0;
  log_->queries.push_back(p);
  switch (p) {
    case 9:
      return reinterpret_cast<Word>(&peer_session);
    case 8:
      return log_->query8;
    case 13:
      return 0;  // no memory manager: the built-in one stays
    default:
      return 1000 + p;
  }
}

constexpr Word kPeer = 0x5EE5, kPeerWithout = 0x5EE6;

class PeerModules final : public plat::Modules {
 public:
  void* FindExport(plat::Module module, const char* name) override {
    if (module == kPeer && std::strcmp(name, "Execution") == 0) {
      return reinterpret_cast<void*>(&PeerExecution);
    }
    return nullptr;
  }
};

struct EntryTest : ::testing::Test {
  void SetUp() override {
    log_ = &log;
    InitLibrary(0x1234);
  }
  void TearDown() override {
    TermLibrary(0);
    log_ = nullptr;
  }
  Word Attach(Word size = 20, Word preset = 0, Word module = kPeer) {
    AttachRecord record{size, module, 1, 2, preset};
    return Execution(3985, reinterpret_cast<Word>(&record), 0);
  }

  PeerLog log;
  PeerModules modules;
  plat::Platform platform{modules, plat::Current().system,
                          plat::Current().files, plat::Current().libraries,
                          plat::Current().registry, plat::Current().processes};
  plat::ScopedPlatform scoped{platform};
};

TEST_F(EntryTest, InfoComposanteAnswers) {
  struct Case {
    std::uint32_t code;
    Word expected;
  };
  const Case cases[] = {{0, 13},  {1, 8},   {2, 558}, {3, 1},    {30, 1},
                        {44, 1},  {13, 0},  {24, 650}, {26, 53}, {32, 4},
                        {34, 508}, {41, 29481}, {5, 0}, {99, 0}};
  for (const Case& c : cases) {
    EXPECT_EQ(c.expected, InfoComposante(c.code, 0)) << c.code;
  }
  EXPECT_EQ(reinterpret_cast<Word>(kFunctionTable), InfoComposante(33, 0));
  EXPECT_EQ(reinterpret_cast<Word>(kConstantTable), InfoComposante(23, 0));
  EXPECT_EQ(reinterpret_cast<Word>(kTypedTable), InfoComposante(25, 0));
  EXPECT_EQ(reinterpret_cast<Word>(&kTypeNameBlock), InfoComposante(31, 0));
  EXPECT_EQ(reinterpret_cast<Word>(ResourceBlock()), InfoComposante(40, 0));
  for (std::uint32_t code : {4u, 39u}) {
    const auto* empty = reinterpret_cast<const char16_t*>(InfoComposante(code, 3));
    ASSERT_NE(nullptr, empty);
    EXPECT_EQ(u'\0', empty[0]);
  }
  const auto* hex = reinterpret_cast<const char16_t* const*>(InfoComposante(29, 0));
  EXPECT_EQ(1u, std::u16string(hex[0]).size());
  EXPECT_EQ(u"00", std::u16string(hex[1]));
  EXPECT_EQ(u"FF", std::u16string(hex[256]));
}

TEST_F(EntryTest, ResourceBlockIsStable) {
  const unsigned char* block = ResourceBlock();
  std::uint32_t sum = 0;
  for (std::uint32_t i = 0; i < kResourceBlockSize; ++i) sum = sum * 31 + block[i];
  EXPECT_EQ(block, ResourceBlock());
  EXPECT_NE(0u, sum);
}

TEST_F(EntryTest, RandomServiceCountsAndDrawsInEitherOrder) {
  auto* service = static_cast<RandomService*>(QueryProxy(6));
  ASSERT_NE(nullptr, service);
  auto add = reinterpret_cast<RandomAddRefFn>(service->ops[0]);
  auto release = reinterpret_cast<RandomReleaseFn>(service->ops[1]);
  auto draw = reinterpret_cast<RandomDrawFn>(service->ops[2]);
  EXPECT_EQ(2u, add(service));
  for (int i = 0; i < 200; ++i) {
    const std::int32_t v = draw(service, 10, 5);
    EXPECT_TRUE(v >= 5 && v <= 10) << v;
    EXPECT_EQ(-3, draw(service, -3, -3));
  }
  EXPECT_EQ(1u, release(service));
  EXPECT_EQ(0u, release(service));  // destroyed: LeakSanitizer checks
}

TEST_F(EntryTest, Service60AndUnknownProxies) {
  auto* service = static_cast<Service60*>(QueryProxy(60));
  ASSERT_NE(nullptr, service);
  EXPECT_EQ(7u, reinterpret_cast<Service60Fn>(service->ops[0])(service));
  EXPECT_EQ(2u, reinterpret_cast<Service60Fn>(service->ops[1])(service));
  EXPECT_EQ(8u, reinterpret_cast<Service60Fn>(service->ops[2])(service));
  reinterpret_cast<Service60Fn>(service->ops[6])(service);
  EXPECT_EQ(nullptr, QueryProxy(7));
  EXPECT_EQ(nullptr, QueryProxy(102));
}

TEST_F(EntryTest, DeclareProxyWritesZeros) {
  Word a = 9, c = 9;
  std::uint16_t b = 9, d = 9;
  DeclareProxy(&a, &b, &c, &d);
  EXPECT_EQ(0u, a + b + c + d);
}

TEST_F(EntryTest, LifecycleFlags) {
  EXPECT_TRUE(IsInitialised());
  EXPECT_EQ(0x1234u, HostModule());
  TermLibrary(0);
  EXPECT_FALSE(IsInitialised());
  InitLibrary(0x1234);
}

TEST_F(EntryTest, AttachAsksThePeerInOrder) {
  ASSERT_EQ(1u, Attach());
  const std::vector<Word> expected = {9, 10, 12, 13, 15, 7, 1, 5, 2, 3, 4, 14, 8};
  EXPECT_EQ(expected, log.queries);
  EXPECT_EQ(1012u, EventValue4878());
  EXPECT_EQ(1007u, Peer().query7);
  EXPECT_EQ(PeerValues::kDefaultQuery8, Peer().query8);  // 0x10 is smaller
  EXPECT_EQ(1, AttachCount());
}

TEST_F(EntryTest, PresetIsReadFromSizeTwelve) {
  ASSERT_EQ(1u, Attach(12, 77));
  EXPECT_EQ(77u, Peer().query7);
  EXPECT_EQ(0, std::count(log.queries.begin(), log.queries.end(), Word{7}));
  ASSERT_EQ(1u, Execution(4875, 0, 0));
  log.queries.clear();
  ASSERT_EQ(1u, Attach(8, 77));  // a size of 8 ignores the fifth word
  EXPECT_EQ(1007u, Peer().query7);
}

TEST_F(EntryTest, RunningMaximumOfQuery8) {
  log.query8 = 0x5000;
  ASSERT_EQ(1u, Attach());
  EXPECT_EQ(0x5000u, Peer().query8);
  log.query8 = 0x100;
  ASSERT_EQ(1u, Attach());
  EXPECT_EQ(0x5000u, Peer().query8);
}

TEST_F(EntryTest, AttachWithoutPeerExportFails) {
  EXPECT_EQ(0u, Attach(20, 0, kPeerWithout));
  EXPECT_EQ(0u, Execution(3985, 0, 0));
}

TEST_F(EntryTest, NestedAttachDetach) {
  EXPECT_EQ(1u, Execution(4875, 0, 0));  // nothing attached
  EXPECT_EQ(nullptr, Sink());
  ASSERT_EQ(1u, Attach());
  ASSERT_EQ(1u, Attach());
  EXPECT_EQ(1u, Execution(4875, 0, 0));
  EXPECT_NE(nullptr, Sink());
  EXPECT_EQ(1u, Execution(4875, 0, 0));
  EXPECT_EQ(nullptr, Sink());
  EXPECT_EQ(0, log.shutdowns);  // a detach does not tell the peer
}

TEST_F(EntryTest, EventsWithoutObject) {
  EXPECT_EQ(0u, Execution(5238, 1, 2));
  EXPECT_EQ(1u, Execution(4879, 1, 2));
  EXPECT_EQ(1u, Execution(5684, 1, 2));
  EXPECT_EQ(1u, Execution(5864, 1, 2));
  EXPECT_EQ(1u, Execution(4963, 1, 2));  // no peer session yet
  EXPECT_EQ(0u, Execution(1234, 1, 2));
  EXPECT_EQ(1u, Execution(4878, 55, 0));
  EXPECT_EQ(55u, EventValue4878());
}

TEST_F(EntryTest, EventsWithObject) {
  ASSERT_EQ(1u, Attach());
  EXPECT_EQ(1u, Execution(5238, 1, 2));  // two live entries: answers 1
  EXPECT_EQ(1u, Execution(4963, 1, 2));  // peer says 2, slot 6 says 1
  log.session_answer = 1;
  EXPECT_EQ(1u, Execution(4963, 1, 2));
}

TEST_F(EntryTest, Event5238ReachesLiveObjects) {
  struct Probe : LiveObject {
    void OnEvent5238(Word p, Word q) override { seen = p + q; }
    Word seen = 0;
  } probe;
  ASSERT_EQ(1u, Attach());
  RegisterLiveObject(&probe);
  EXPECT_EQ(1u, Execution(5238, 3, 4));
  EXPECT_EQ(7u, probe.seen);
  UnregisterLiveObject(&probe);
}

TEST_F(EntryTest, TermLibraryShutsTheSessionDown) {
  ASSERT_EQ(1u, Attach());
  TermLibrary(0);
  EXPECT_EQ(1, log.shutdowns);
  EXPECT_EQ(nullptr, Sink());
  TermLibrary(0);  // nothing left to shut down
  EXPECT_EQ(1, log.shutdowns);
}

// --- message commands --------------------------------------------------------

std::int32_t Provider(std::uint32_t number, char16_t* buffer, std::uint32_t) {
  if (number != 3) return 0;
  buffer[0] = u'P';
  buffer[1] = 0;
  return 1;
}

TEST_F(EntryTest, MessageCommands) {
  char16_t buffer[300] = {};
  MessageFetch fetch{0, 291, reinterpret_cast<Word>(buffer), 300, 0};
  const Word placed = CommandeComposante(3, reinterpret_cast<Word>(&fetch), 0, 0);
  EXPECT_GT(placed, 0u);
  EXPECT_EQ(placed, fetch.result);
  EXPECT_EQ(placed, std::u16string(buffer).size());

  fetch.number = 65000;
  EXPECT_EQ(0u, CommandeComposante(3, reinterpret_cast<Word>(&fetch), 0, 0));
  EXPECT_EQ(2u, CommandeComposante(4, 291, 0, 0));
  EXPECT_EQ(static_cast<Word>(-1), CommandeComposante(4, 65000, 0, 0));
  EXPECT_EQ(0u, CommandeComposante(9, 0, 0, 0));

  EXPECT_EQ(1u, CommandeComposante(2, reinterpret_cast<Word>(&Provider), 0, 0));
  fetch.number = 3;
  EXPECT_EQ(1u, CommandeComposante(3, reinterpret_cast<Word>(&fetch), 0, 0));
  EXPECT_EQ(u"P", std::u16string(buffer));
  fetch.number = 291;  // the provider declines: the block answers
  EXPECT_GT(CommandeComposante(3, reinterpret_cast<Word>(&fetch), 0, 0), 1u);
  CommandeComposante(2, 0, 0, 0);
}

}  // namespace
}  // namespace frame
