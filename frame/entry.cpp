// frame/entry.cpp: library start and end, the table queries, the message
// commands and the service objects handed out by pQueryProxy.
#include "frame/entry.h"

#include <array>
#include <atomic>
#include <new>
#include <random>

#include "frame/catalogue.h"
#include "frame/descriptor.h"
#include "frame/exports.h"
#include "frame/resource_block.h"
#include "frame/text.h"
#include "frame/xerror.h"

namespace frame {

void ShutdownSession();  // frame/execution.cpp

namespace {

Word host_module = 0;
Word dialog_host_module = 0;  // the file dialogs need the host's instance
bool initialised = false;
// CommandeComposante 2: the VM's own message texts, asked first.
using MessageProviderFn = std::int32_t (*)(std::uint32_t, char16_t*,
                                           std::uint32_t);
MessageProviderFn message_provider = nullptr;
char16_t* cached_text = nullptr;  // the frame's cached text object
std::array<void (*)(), 8> end_hooks{};

// InfoComposante 4 and 39: arrays of texts, all empty in this component.
constexpr int kEmptyTextEntries = 32;
constexpr char16_t kEmptyText[] = u"";

// InfoComposante 29: a one-character text, then "00", "01", ... "FF".
const Word* HexTexts() {
  static char16_t digits[256][3];
  static Word table[257];
  static const bool built = [] {
    static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
    static constexpr char16_t kFirst[] = u" ";
    table[0] = reinterpret_cast<Word>(kFirst);
    for (int i = 0; i < 256; ++i) {
      digits[i][0] = kDigits[i >> 4];
      digits[i][1] = kDigits[i & 15];
      table[i + 1] = reinterpret_cast<Word>(digits[i]);
    }
    return true;
  }();
  (void)built;
  return table;
}

Word EmptyTextEntry(std::uint32_t index) {
  return index < kEmptyTextEntries ? reinterpret_cast<Word>(kEmptyText) : 0;
}

// pQueryProxy(6): a random-number service with a reference count.
struct RandomObject {
  RandomService base;
  std::atomic<std::uint32_t> count{1};
  std::mt19937 engine{std::random_device{}()};
};
std::uint32_t RandomAddRef(RandomService* s) {
  return ++reinterpret_cast<RandomObject*>(s)->count;
}
std::uint32_t RandomRelease(RandomService* s) {
  auto* object = reinterpret_cast<RandomObject*>(s);
  const std::uint32_t left = --object->count;
  if (left == 0) delete object;
  return left;
}
std::int32_t RandomDraw(RandomService* s, std::int32_t a, std::int32_t b) {
  auto* object = reinterpret_cast<RandomObject*>(s);
  if (a > b) std::swap(a, b);
  return std::uniform_int_distribution<std::int32_t>(a, b)(object->engine);
}
const Word kRandomOps[] = {reinterpret_cast<Word>(&RandomAddRef),
                           reinterpret_cast<Word>(&RandomRelease),
                           reinterpret_cast<Word>(&RandomDraw)};

// pQueryProxy(60): three fixed answers and a release in the seventh slot.
Word Answer7(Service60*) { return 7; }
Word Answer2(Service60*) { return 2; }
Word Answer8(Service60*) { return 8; }
Word AnswerNone(Service60*) { return 0; }
Word Release60(Service60* s) {
  delete s;
  return 0;
}
const Word kService60Ops[] = {
    reinterpret_cast<Word>(&Answer7),    reinterpret_cast<Word>(&Answer2),
    reinterpret_cast<Word>(&Answer8),    reinterpret_cast<Word>(&AnswerNone),
    reinterpret_cast<Word>(&AnswerNone), reinterpret_cast<Word>(&AnswerNone),
    reinterpret_cast<Word>(&Release60)};

Word FetchMessage(MessageFetch* fetch) {
  if (fetch == nullptr) return 0;
  auto* buffer = reinterpret_cast<char16_t*>(fetch->buffer);
  const auto capacity = static_cast<std::uint32_t>(fetch->capacity);
  const auto number = static_cast<std::uint32_t>(fetch->number);
  Word answer = 0;
  if (message_provider != nullptr) {
    const std::int32_t provided =
        message_provider(number, buffer, capacity);
    if (provided >= 1) answer = static_cast<Word>(provided);
  }
  if (answer == 0) {
    answer = static_cast<Word>(LookupMessage(number, buffer, capacity, nullptr));
  }
  fetch->result = answer;
  return answer;
}

Word MessageClass(std::uint32_t number) {
  int cls = 0;
  if (!FindMessage(number, nullptr, &cls)) {
    return static_cast<Word>(static_cast<std::intptr_t>(-1));
  }
  return static_cast<Word>(cls);
}

}  // namespace

std::int32_t InitLibrary(Word module) {
  host_module = module;
  dialog_host_module = module;
  initialised = true;
  return 1;
}

void TermLibrary(Word) {
  ReleaseText(&cached_text);
  ShutdownSession();
  for (auto& stop : end_hooks) {
    if (stop != nullptr) stop();
  }
  initialised = false;
}

bool IsInitialised() { return initialised; }
Word HostModule() { return host_module; }

void AtLibraryEnd(void (*stop)()) {
  for (auto& slot : end_hooks) {
    if (slot == stop) return;
    if (slot == nullptr) {
      slot = stop;
      return;
    }
  }
}

Word InfoComposante(std::uint32_t code, std::uint32_t index) {
  switch (code) {
    case 0:
      return 13;
    case 1:
      return kComponentNumber;
    case 2:
      return 558;
    case 3:
    case 30:
    case 44:
      return 1;
    case 4:
    case 39:
      return EmptyTextEntry(index);
    case 13:
      return 0;
    case 23:
      return reinterpret_cast<Word>(kConstantTable);
    case 24:
      return kConstantCount;
    case 25:
      return reinterpret_cast<Word>(kTypedTable);
    case 26:
      return kTypedCount;
    case 29:
      return reinterpret_cast<Word>(HexTexts());
    case 31:
      return reinterpret_cast<Word>(&kTypeNameBlock);
    case 32:
      return kTypeNameCount;
    case 33:
      return reinterpret_cast<Word>(kFunctionTable);
    case 34:
      return kFunctionCount;
    case 40:
      return reinterpret_cast<Word>(ResourceBlock());
    case 41:
      return kResourceBlockSize;
    default:
      return 0;
  }
}

void* QueryProxy(std::uint32_t number) {
  if (number == 6) {
    auto* object = new (std::nothrow) RandomObject();
    if (object == nullptr) return nullptr;
    object->base.ops = kRandomOps;
    return object;
  }
  if (number == 60) {
    auto* object = new (std::nothrow) Service60{kService60Ops};
    return object;
  }
  return nullptr;
}

void DeclareProxy(Word* a, std::uint16_t* b, Word* c, std::uint16_t* d) {
  if (a != nullptr) *a = 0;
  if (b != nullptr) *b = 0;
  if (c != nullptr) *c = 0;
  if (d != nullptr) *d = 0;
}

Word CommandeComposante(std::uint32_t command, Word record, Word, Word) {
  switch (command) {
    case 2:
      message_provider = reinterpret_cast<MessageProviderFn>(record);
      return 1;
    case 3:
      return FetchMessage(reinterpret_cast<MessageFetch*>(record));
    case 4:
      return MessageClass(static_cast<std::uint32_t>(record));
    default:
      return 0;
  }
}

}  // namespace frame
