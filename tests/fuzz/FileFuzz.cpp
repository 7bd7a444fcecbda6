// One file through the whole road: probes, opening, the title, the seven properties, every query, blocks,
// seeks, closing.

#include <memory>
#include <vector>

#include "framework/Container.h"
#include "framework/LogWriter.h"
#include "framework/QueryIds.h"
#include "propertyhandler/PropertyValues.h"
#include "tests/fuzz/FuzzFile.h"

namespace qmf::fuzz {
namespace {

constexpr char16_t kName[] = FUZZ_FILE_NAME;
constexpr std::uint64_t kMostBytesForProperties = 16U << 20;
constexpr std::size_t kMostHeapForProperties = 16U << 20;
constexpr std::size_t kMostHeap = 64U << 20;
constexpr int kMostBlocks = 200;
constexpr std::uint32_t kAskedIndexes[] = {0, 1, 0x80000000};

void AskEverything(QMFContainer* container) {
  for (const QueryIdRow& row : QueryIdTable()) {
    for (const std::uint32_t index : kAskedIndexes) {
      // Exactly as large as declared, so that the sanitizer sees the first byte too many.
      for (const std::uint32_t capacity : {47U, 4096U}) {
        const auto buffer = std::make_unique<std::uint8_t[]>(capacity);
        QMFQueryData data;
        const QMFValueKind kind = ValueKindOf(row.value);
        if (kind == kValueString || kind == kValueRecord) {
          data.size = capacity;
          data.pointer = buffer.get();
        }
        RequireKnown(GetInfo(container, row.value, &data, index));
        if (kind != kValueString && kind != kValueRecord) break;
      }
    }
  }
}

void ReadBlocks(QMFContainer* container) {
  std::vector<std::uint8_t> buffer(65536);
  for (int i = 0; i < kMostBlocks; ++i) {
    QMFBlock block;
    block.data = buffer.data();
    block.capacity = static_cast<std::uint32_t>(buffer.size());
    std::uint32_t blockType = 0;
    std::uint32_t stream = 0;
    std::int64_t time = 0;
    const QMFResult result = ReadNextBlock(container, &blockType, &stream, &block, &time);
    RequireKnown(result);
    Require(block.size <= block.capacity, "a block larger than its buffer");
    Require(result == QMF_OK || block.size == 0, "a failed read that delivered bytes");
    if (result == QMF_ERR_BLOCK_BUFFER_TOO_SMALL && block.required > buffer.size() &&
        block.required < 1U << 20) {
      buffer.resize(block.required);
    } else if (result != QMF_OK) {
      return;
    }
  }
}

void Seek(QMFContainer* container) {
  for (const std::uint32_t blockType : {kBlockVideo, kBlockAudio, kBlockSubtitle}) {
    (void)SetTitleActiveStream(container, blockType, 0, 1);
    for (const std::int64_t asked : {std::int64_t{0}, std::int64_t{20'000'000}, INT64_MAX, INT64_MIN}) {
      std::int64_t time = asked;
      RequireKnown(SetPosition(container, blockType, 0, &time));
      std::uint8_t bytes[256];
      QMFBlock block;
      block.data = bytes;
      block.capacity = sizeof(bytes);
      RequireKnown(ReadNextBlockByStream(container, blockType, 0, &block, &time));
      Require(block.size <= sizeof(bytes), "a block larger than its buffer");
    }
  }
}

void Run(std::span<const std::uint8_t> input) {
  BudgetHeap heap(kMostHeap);
  {
    const auto reader = std::make_shared<FileReader>(std::make_shared<FuzzFile>(input));
    const SharedFileScope named(kName, reader);
    QMFContainer* container = nullptr;
    const QMFResult opened = OpenContainer(&container, kName, &heap);
    RequireKnown(opened);
    Require((opened == QMF_OK) == (container != nullptr), "a container exactly when opening succeeded");
    if (container != nullptr) {
      RequireKnown(SetTitle(container, 0));
      (void)ReadPropertyValues(container);
      Require(reader->BytesRead() <= kMostBytesForProperties, "properties cost at most 16 MiB of reading");
      Require(heap.Peak() <= kMostHeapForProperties, "properties cost at most 16 MiB of heap");
      AskEverything(container);
      ReadBlocks(container);
      Seek(container);
      ReadBlocks(container);
      RequireKnown(CloseContainer(container));
    }
  }
  Require(heap.InUse() == 0, "everything is given back");
}

}  // namespace
}  // namespace qmf::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qmf::SetLogOff();
  qmf::fuzz::Run({data, size});
  return 0;
}
