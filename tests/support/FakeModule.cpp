#include "tests/support/FakeModule.h"

#include <fmt/format.h>

#include <atomic>
#include <cstring>
#include <mutex>

#include "framework/LoggingModule.h"
#include "framework/QueryIds.h"
#include "framework/Text.h"

namespace qmf::test {
namespace {

constexpr int kFakes = 3;

FakeModule fakes[kFakes];
std::vector<std::string> calls;
std::mutex callsMutex;
std::atomic<int> openInstances{0};
const QMFModuleDescriptor descriptors[kFakes] = {
    {1, &fakes[0].header, &fakes[0].slots},
    {2, &fakes[1].header, &fakes[1].slots},
    {3, &fakes[2].header, &fakes[2].slots},
};
const QMFModuleDescriptor* const kModules[] = {&descriptors[0], &descriptors[1], &descriptors[2],
                                               &kLoggingModule};

int IdOf(const FakeModule& fake) {
  return static_cast<int>(&fake - fakes) + 1;
}

template <class... Arguments>
QMFResult Record(const FakeModule& fake, const char* name, Arguments... arguments) {
  std::string call = fmt::format("{}:{}", IdOf(fake), name);
  ((call += fmt::format(" {}", arguments)), ...);
  const std::lock_guard lock(callsMutex);
  calls.push_back(std::move(call));
  return fake.result;
}

bool AnswerCount(const FakeModule& fake, std::uint32_t qid, QMFQueryData& data) {
  switch (qid) {
    case QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA:
    case QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA:
    case QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA:
      data.value = fake.streamCounts[StreamKindOf(qid)];
      return true;
    default:
      return false;
  }
}

QMFResult Answer(const FakeModule& fake, std::uint32_t qid, QMFQueryData* data, std::uint32_t index) {
  if (AnswerCount(fake, qid, *data)) return QMF_OK;
  if (qid == QMF_QID_GET_TITLE_MEDIA_PROP && fake.result == QMF_OK) {
    const QMFTitleMediaProp prop = {static_cast<std::uint8_t>(IdOf(fake)),
                                    {fake.streamCounts[1], fake.streamCounts[2], fake.streamCounts[3]}};
    std::memcpy(data->pointer, &prop, sizeof(prop));
    return QMF_OK;
  }
  return Record(fake, "GetInfo", qid, index);
}

QMFResult Deliver(FakeModule& fake, QMFBlock& block, std::int64_t& time) {
  if (fake.result != QMF_OK) return fake.result;
  if (fake.blocks.empty()) return QMF_ERR_END_OF_STREAM;
  const FakeBlock& next = fake.blocks.front();
  block.required = static_cast<std::uint32_t>(next.bytes.size());
  if (block.capacity < block.required) return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  std::memcpy(block.data, next.bytes.data(), next.bytes.size());
  block.size = block.required;
  time = block.time = next.time;
  fake.blocks.pop_front();
  return QMF_OK;
}

template <int n>
QMFModuleEntryPoints MakeSlots() {
  static FakeModule& fake = fakes[n];
  QMFModuleEntryPoints slots;
  const QMFUnnamedEntryPoint unnamed = [](QMFModuleHandle) { return Record(fake, "unnamed"); };
  slots.slot0 = unnamed;
  std::fill(std::begin(slots.slots4to6), std::end(slots.slots4to6), unnamed);
  std::fill(std::begin(slots.slots19to27), std::end(slots.slots19to27), unnamed);
  std::fill(std::begin(slots.slots32to33), std::end(slots.slots32to33), unnamed);
  slots.GetModuleHeader = []() -> const QMFModuleHeader* { return &fake.header; };
  slots.ProbeContainer = [](std::int32_t* score, const char16_t*, QMFAllocator*) {
    *score = fake.score;
    return fake.probeResult;
  };
  slots.OpenContainer = [](QMFModuleHandle* handle, const char16_t* path, QMFAllocator*) {
    (void)Record(fake, "OpenContainer", ToUtf8(path));
    if (IsFailure(fake.openResult)) return fake.openResult;
    ++openInstances;
    *handle = &fake;
    return fake.openResult;
  };
  slots.CloseContainer = [](QMFModuleHandle) {
    --openInstances;
    return Record(fake, "CloseContainer");
  };
  slots.SetTitle = [](QMFModuleHandle, std::uint32_t title) { return Record(fake, "SetTitle", title); };
  slots.SetMenu = [](QMFModuleHandle, std::uint32_t menu) { return Record(fake, "SetMenu", menu); };
  slots.GetInfo = [](QMFModuleHandle, std::uint32_t qid, QMFQueryData* data, std::uint32_t index) {
    return Answer(fake, qid, data, index);
  };
  slots.SetInfo = [](QMFModuleHandle, std::uint32_t qid, QMFQueryData*, std::uint32_t index) {
    return Record(fake, "SetInfo", qid, index);
  };
  slots.SetPosition = [](QMFModuleHandle, std::uint32_t type, std::uint32_t stream, std::int64_t* time) {
    *time -= 1;
    return Record(fake, "SetPosition", type, stream);
  };
  slots.SetTitleActiveStream = [](QMFModuleHandle, std::uint32_t type, std::uint32_t stream,
                                  std::uint32_t active) {
    return Record(fake, "SetTitleActiveStream", type, stream, active);
  };
  slots.ReadNextBlock = [](QMFModuleHandle, std::uint32_t* type, std::uint32_t* stream, QMFBlock* block,
                           std::int64_t* time) {
    if (!fake.blocks.empty()) {
      *type = fake.blocks.front().blockType;
      *stream = fake.blocks.front().stream;
    }
    return Deliver(fake, *block, *time);
  };
  slots.ReadNextBlockByStream = [](QMFModuleHandle, std::uint32_t type, std::uint32_t stream, QMFBlock* block,
                                   std::int64_t* time) {
    (void)Record(fake, "ReadNextBlockByStream", type, stream);
    return Deliver(fake, *block, *time);
  };
  slots.WriteNextBlock = [](QMFModuleHandle, std::uint32_t type, std::int64_t time, std::uint32_t stream,
                            const QMFBlock*) { return Record(fake, "WriteNextBlock", type, time, stream); };
  slots.AddStream = [](QMFModuleHandle, std::uint32_t type, std::uint32_t* stream) {
    *stream = 7;
    return Record(fake, "AddStream", type);
  };
  slots.AddTitle = [](QMFModuleHandle, std::uint32_t* title) {
    *title = 9;
    return Record(fake, "AddTitle");
  };
  slots.FinishTitle = [](QMFModuleHandle) { return Record(fake, "FinishTitle"); };
  return slots;
}

}  // namespace

FakeModule& Fake(int moduleId) {
  return fakes[moduleId - 1];
}

std::vector<std::string>& FakeCalls() {
  return calls;
}

void ResetFakes() {
  for (FakeModule& fake : fakes) fake = {};
  fakes[0].slots = MakeSlots<0>();
  fakes[1].slots = MakeSlots<1>();
  fakes[2].slots = MakeSlots<2>();
  calls.clear();
}

int OpenFakeInstances() {
  return openInstances;
}

}  // namespace qmf::test

namespace qmf {

const std::span<const QMFModuleDescriptor* const> kModuleList = test::kModules;

}  // namespace qmf
