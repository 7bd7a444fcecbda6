#include "tests/support/FakeModule.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <type_traits>

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

// A call's name as a template argument.
struct CallName {
  template <std::size_t size>
  consteval CallName(const char (&name)[size]) {
    std::copy_n(name, size, text);
  }
  char text[32] = {};
};

template <class Argument>
std::string NumberText(const Argument& argument) {
  if constexpr (std::is_pointer_v<Argument>)
    return {};
  else
    return fmt::format(" {}", argument);
}

// Records a call with its numbers; what pointers point to is left out.
template <int n, CallName name, class... Arguments>
QMFResult Recorded(QMFModuleHandle, Arguments... arguments) {
  std::string call = fmt::format("{}:{}", n + 1, name.text) + (NumberText(arguments) + ... + "");
  const std::lock_guard lock(callsMutex);
  calls.push_back(std::move(call));
  return fakes[n].result;
}

template <int n>
QMFResult Answer(QMFModuleHandle handle, std::uint32_t qid, QMFQueryData* data, std::uint32_t index) {
  const FakeModule& fake = fakes[n];
  const auto& counts = fake.streamCounts;
  switch (qid) {
    case QMF_QID_NUM_TITLEMEDIA_VIDEOMEDIA:
    case QMF_QID_NUM_TITLEMEDIA_AUDIOMEDIA:
    case QMF_QID_NUM_TITLEMEDIA_SUBTITLEMEDIA:
      data->value = counts[StreamKindOf(qid)];
      return QMF_OK;
    case QMF_QID_GET_TITLE_MEDIA_PROP:
      if (fake.result != QMF_OK) break;
      *static_cast<QMFTitleMediaProp*>(data->pointer) = {n + 1, {counts[1], counts[2], counts[3]}};
      return QMF_OK;
    default:
      break;
  }
  return Recorded<n, "GetInfo">(handle, qid, data, index);
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
  slots.slot0 = Recorded<n, "unnamed">;
  std::ranges::fill(slots.slots4to6, slots.slot0);
  std::ranges::fill(slots.slots19to27, slots.slot0);
  std::ranges::fill(slots.slots32to33, slots.slot0);
  slots.GetModuleHeader = []() -> const QMFModuleHeader* { return &fake.header; };
  slots.ProbeContainer = [](std::int32_t* score, const char16_t*, QMFAllocator*) {
    *score = fake.score;
    return fake.probeResult;
  };
  slots.OpenContainer = [](QMFModuleHandle* handle, const char16_t* path, QMFAllocator*) {
    (void)Recorded<n, "OpenContainer">(nullptr, ToUtf8(path));
    if (IsFailure(fake.openResult)) return fake.openResult;
    ++openInstances;
    *handle = &fake;
    return fake.openResult;
  };
  slots.CloseContainer = [](QMFModuleHandle handle) {
    --openInstances;
    return Recorded<n, "CloseContainer">(handle);
  };
  slots.SetTitle = Recorded<n, "SetTitle">;
  slots.SetMenu = Recorded<n, "SetMenu">;
  slots.GetInfo = Answer<n>;
  slots.SetInfo = Recorded<n, "SetInfo">;
  slots.SetPosition = [](QMFModuleHandle handle, std::uint32_t type, std::uint32_t stream,
                         std::int64_t* time) {
    *time -= 1;
    return Recorded<n, "SetPosition">(handle, type, stream);
  };
  slots.SetTitleActiveStream = Recorded<n, "SetTitleActiveStream">;
  slots.ReadNextBlock = [](QMFModuleHandle, std::uint32_t* type, std::uint32_t* stream, QMFBlock* block,
                           std::int64_t* time) {
    if (!fake.blocks.empty()) {
      *type = fake.blocks.front().blockType;
      *stream = fake.blocks.front().stream;
    }
    return Deliver(fake, *block, *time);
  };
  slots.ReadNextBlockByStream = [](QMFModuleHandle handle, std::uint32_t type, std::uint32_t stream,
                                   QMFBlock* block, std::int64_t* time) {
    (void)Recorded<n, "ReadNextBlockByStream">(handle, type, stream);
    return Deliver(fake, *block, *time);
  };
  slots.WriteNextBlock = Recorded<n, "WriteNextBlock">;
  slots.AddStream = [](QMFModuleHandle handle, std::uint32_t type, std::uint32_t* stream) {
    *stream = 7;
    return Recorded<n, "AddStream">(handle, type);
  };
  slots.AddTitle = [](QMFModuleHandle handle, std::uint32_t* title) {
    *title = 9;
    return Recorded<n, "AddTitle">(handle);
  };
  slots.FinishTitle = Recorded<n, "FinishTitle">;
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
