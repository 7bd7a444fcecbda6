#include "tests/support/WholeRoad.h"

#include <algorithm>

#include "framework/QueryIds.h"
#include "tests/support/Contract.h"

namespace qmf::test {
namespace {

constexpr std::uint8_t kCanary = 0xA5;
constexpr std::size_t kCanarySize = 64;
constexpr std::uint32_t kLargestAnswer = 4096;
constexpr std::uint32_t kBlockTypes[] = {kBlockVideo, kBlockAudio, kBlockSubtitle};
constexpr int kMostBlocks = 200;
constexpr std::uint32_t kLargestBlock = 1U << 20;

constexpr std::uint32_t kIndexes[] = {1, 2, 7, 1000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
constexpr std::uint32_t kCapacities[] = {0, 1, 8, 24, 35, 36, 47, 48, 100, kLargestAnswer};

template <std::size_t kCount>
std::uint32_t Choose(const std::uint32_t (&values)[kCount], std::uint32_t variant) {
  return values[variant % kCount];
}

/// A caller's buffer with bytes behind it that nobody may touch. Nothing here allocates: what fails in a test
/// of exhausted memory is the framework.
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::uint32_t capacity) : m_capacity(capacity) {
    std::fill_n(m_bytes + capacity, kCanarySize, kCanary);
  }
  std::uint8_t* Data() { return m_capacity == 0 ? nullptr : m_bytes; }
  void RequireUntouched() const {
    Require(std::all_of(m_bytes + m_capacity, m_bytes + m_capacity + kCanarySize,
                        [](std::uint8_t byte) { return byte == kCanary; }),
            "an answer within its buffer");
  }

 private:
  const std::uint32_t m_capacity;
  std::uint8_t m_bytes[kLargestAnswer + kCanarySize];
};

/// A buffer for blocks that grows when one does not fit.
struct BlockBuffer {
  static std::uint8_t* Data() {
    static thread_local std::uint8_t bytes[kLargestBlock];
    return bytes;
  }
  std::uint32_t capacity;
};

using InfoCall = QMFResult (*)(QMFContainer*, std::uint32_t, QMFQueryData*, std::uint32_t);

void Call(InfoCall call, QMFContainer* container, std::uint32_t qid, std::uint32_t index,
          std::uint32_t capacity) {
  GuardedBuffer buffer(capacity);
  QMFQueryData data;
  const QMFValueKind kind = ValueKindOf(qid);
  const bool inBuffer = kind == kValueString || kind == kValueRecord;
  if (inBuffer) {
    data.size = capacity;
    data.pointer = buffer.Data();
  } else {
    data.value = capacity;
  }
  RequireKnown(call(container, qid, &data, index));
  buffer.RequireUntouched();
}

QMFResult ReadBlock(QMFContainer* container, BlockBuffer& buffer, const std::uint32_t* onlyType) {
  QMFBlock block;
  block.data = BlockBuffer::Data();
  block.capacity = buffer.capacity;
  std::uint32_t blockType = 0;
  std::uint32_t stream = 0;
  std::int64_t time = 0;
  const QMFResult result = onlyType == nullptr
                               ? ReadNextBlock(container, &blockType, &stream, &block, &time)
                               : ReadNextBlockByStream(container, *onlyType, 0, &block, &time);
  RequireKnown(result);
  Require(block.size <= block.capacity, "a block within its buffer");
  Require(result == QMF_OK || block.size == 0, "a failed read delivers no bytes");
  if (result == QMF_ERR_BLOCK_BUFFER_TOO_SMALL && block.required > buffer.capacity &&
      block.required <= kLargestBlock) {
    buffer.capacity = block.required;
    return QMF_OK;
  }
  return result;
}

void ActivateStreams(QMFContainer* container) {
  for (const std::uint32_t blockType : kBlockTypes) {
    for (const std::uint32_t stream : {0U, 1U, 0x80000000U}) {
      RequireKnown(SetTitleActiveStream(container, blockType, stream, 1));
    }
  }
}

}  // namespace

void AskEverything(QMFContainer* container, std::uint32_t variant) {
  for (const QueryIdRow& row : QueryIdTable()) {
    Call(GetInfo, container, row.value, 0, kLargestAnswer);
    ++variant;
    Call(GetInfo, container, row.value, Choose(kIndexes, variant), Choose(kCapacities, variant));
    Call(GetInfo, container, row.value, variant & 1, Choose(kCapacities, variant * 7));
  }
}

void SetEverything(QMFContainer* container, std::uint32_t variant) {
  for (const QueryIdRow& row : QueryIdTable()) {
    ++variant;
    Call(SetInfo, container, row.value, variant & 1, Choose(kCapacities, variant));
  }
}

void ReadBlocks(QMFContainer* container, int most) {
  BlockBuffer buffer{65536};
  for (int i = 0; i < most && ReadBlock(container, buffer, nullptr) == QMF_OK; ++i) {
  }
}

void SeekAndRead(QMFContainer* container) {
  BlockBuffer buffer{256};
  for (const std::uint32_t blockType : kBlockTypes) {
    for (const std::int64_t asked :
         {std::int64_t{0}, std::int64_t{20'000'000}, std::int64_t{3'000'000}, INT64_MAX, INT64_MIN}) {
      std::int64_t time = asked;
      RequireKnown(SetPosition(container, blockType, 0, &time));
      (void)ReadBlock(container, buffer, &blockType);
    }
  }
}

void UseContainer(QMFContainer* container, std::uint32_t variant) {
  ActivateStreams(container);
  AskEverything(container, variant);
  ReadBlocks(container, kMostBlocks);
  SeekAndRead(container);
  SetEverything(container, variant);
  RequireKnown(SetMenu(container, variant % 3));
  AskEverything(container, variant + 1);
  std::int64_t start = 0;
  RequireKnown(SetPosition(container, kBlockVideo, 0, &start));
  ReadBlocks(container, kMostBlocks);
  RequireKnown(SetTitle(container, variant % 2));
  ActivateStreams(container);
  ReadBlocks(container, kMostBlocks);
}

}  // namespace qmf::test
