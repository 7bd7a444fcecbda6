#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "framework/ContainerAccess.h"

namespace qmf {

// Several pieces are merged by time, so each piece's next block is read ahead here. A single piece is read
// straight into the caller's buffer.
struct ContainerBlocks {
  struct Ahead {
    bool loaded = false;  ///< The rest holds the piece's next block, or the result that it gave instead.
    QMFResult result = QMF_OK;
    std::uint32_t blockType = 0;
    std::uint32_t stream = 0;
    QMFBlock block;
    std::int64_t time = 0;
    std::pmr::vector<std::uint8_t> bytes;
    explicit Ahead(QMFAllocator* memory) : bytes(memory) {}
  };
  explicit ContainerBlocks(QMFAllocator* memory) : ahead(memory) {}
  std::pmr::vector<Ahead> ahead;
};

namespace {

constexpr std::size_t kFirstBlockBuffer = 65536;
constexpr std::uint32_t kMaxBlockSize = 256U << 20;

ContainerBlocks& LookAhead(QMFContainer& container) {
  if (container.blocks == nullptr) {
    QMFAllocator* const memory = AllocatorOrHeap(container.allocator);
    container.blocks = std::pmr::polymorphic_allocator<>(memory).new_object<ContainerBlocks>(memory);
  }
  while (container.blocks->ahead.size() < container.count) {
    container.blocks->ahead.emplace_back(AllocatorOrHeap(container.allocator));
  }
  return *container.blocks;
}

// What is read ahead of `piece`, or null when nothing is.
ContainerBlocks::Ahead* LoadedAhead(const QMFContainer& container, std::uint32_t piece) {
  if (container.blocks == nullptr || piece >= container.blocks->ahead.size()) return nullptr;
  ContainerBlocks::Ahead& ahead = container.blocks->ahead[piece];
  return ahead.loaded ? &ahead : nullptr;
}

QMFResult ReadPiece(QMFContainer& container, std::uint32_t piece, ContainerBlocks::Ahead& ahead) {
  ahead.block = {};
  ahead.block.data = ahead.bytes.data();
  ahead.block.capacity = static_cast<std::uint32_t>(ahead.bytes.size());
  return CallPiece(container, piece, &QMFModuleEntryPoints::ReadNextBlock, &ahead.blockType, &ahead.stream,
                   &ahead.block, &ahead.time);
}

void Load(QMFContainer& container, std::uint32_t piece, ContainerBlocks::Ahead& ahead) {
  if (ahead.loaded) return;
  if (ahead.bytes.empty()) ahead.bytes.resize(kFirstBlockBuffer);
  ahead.result = ReadPiece(container, piece, ahead);
  if (ahead.result == QMF_ERR_BLOCK_BUFFER_TOO_SMALL && ahead.block.required > ahead.bytes.size() &&
      ahead.block.required <= kMaxBlockSize) {
    ahead.bytes.resize(ahead.block.required);
    ahead.result = ReadPiece(container, piece, ahead);
  }
  ahead.loaded = true;
}

// The piece to deliver from: the earliest block; a failure goes first, the end of a piece goes last.
std::uint32_t ChoosePiece(const ContainerBlocks& blocks) {
  const auto order = [](const ContainerBlocks::Ahead& ahead) {
    const int rank = ahead.result == QMF_OK ? 1 : ahead.result == QMF_ERR_END_OF_STREAM ? 2 : 0;
    return std::pair(rank, rank == 1 ? ahead.time : 0);
  };
  const auto first = std::ranges::min_element(blocks.ahead, {}, order);
  return static_cast<std::uint32_t>(first - blocks.ahead.begin());
}

QMFResult Deliver(ContainerBlocks::Ahead& ahead, QMFBlock& block) {
  block.required = ahead.block.size;
  if (block.capacity < ahead.block.size) return QMF_ERR_BLOCK_BUFFER_TOO_SMALL;
  std::memcpy(block.data, ahead.block.data, ahead.block.size);
  std::uint8_t* const data = block.data;
  const std::uint32_t capacity = block.capacity;
  block = ahead.block;
  block.data = data;
  block.capacity = capacity;
  ahead.loaded = false;
  return QMF_OK;
}

QMFResult ReadMerged(QMFContainer& container, std::uint32_t& blockType, std::uint32_t& stream,
                     QMFBlock& block, std::int64_t& time) {
  block.size = 0;
  if (block.data == nullptr) return QMF_ERR_BLOCK_BUFFER_NULL;
  ContainerBlocks& blocks = LookAhead(container);
  for (std::uint32_t piece = 0; piece < container.count; ++piece) Load(container, piece, blocks.ahead[piece]);
  const std::uint32_t piece = ChoosePiece(blocks);
  ContainerBlocks::Ahead& ahead = blocks.ahead[piece];
  if (ahead.result != QMF_OK) {
    ahead.loaded = ahead.result == QMF_ERR_END_OF_STREAM;
    return ahead.result;
  }
  std::uint32_t earlier = 0;
  QMF_RETURN_IF_NONZERO(CountStreamsBefore(container, ahead.blockType, piece, earlier));
  blockType = ahead.blockType;
  stream = ahead.stream + earlier;
  time = ahead.time;
  return Deliver(ahead, block);
}

}  // namespace

void DropLookAhead(QMFContainer& container) {
  if (container.blocks == nullptr) return;
  std::pmr::polymorphic_allocator<>(AllocatorOrHeap(container.allocator)).delete_object(container.blocks);
  container.blocks = nullptr;
}

void ForgetLookAhead(QMFContainer& container, std::uint32_t piece) {
  if (auto* const ahead = LoadedAhead(container, piece)) ahead->loaded = false;
}

void SwitchLookAhead(QMFContainer& container, std::uint32_t blockType, const StreamPlace& place,
                     std::uint32_t active) {
  ContainerBlocks::Ahead* const ahead = LoadedAhead(container, place.piece);
  if (ahead == nullptr) return;
  const bool isItsBlock = ahead->blockType == blockType && ahead->stream == place.localStream;
  if (ahead->result != QMF_OK || (isItsBlock && active == 0)) ahead->loaded = false;
}

QMFResult ReadNextBlock(QMFContainer* container, std::uint32_t* blockType, std::uint32_t* stream,
                        QMFBlock* block, std::int64_t* time) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  if (container->count <= 1) {
    return CallPiece(*container, 0, &QMFModuleEntryPoints::ReadNextBlock, blockType, stream, block, time);
  }
  if (blockType == nullptr || stream == nullptr || time == nullptr) return QMF_NULL_ARGUMENT;
  if (block == nullptr) return QMF_ERR_BLOCK_BUFFER_NULL;
  try {
    return ReadMerged(*container, *blockType, *stream, *block, *time);
  } catch (const std::bad_alloc&) {
    return QMF_OUT_OF_MEMORY;
  }
}

QMFResult ReadNextBlockByStream(QMFContainer* container, std::uint32_t blockType, std::uint32_t stream,
                                QMFBlock* block, std::int64_t* time) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  StreamPlace place{};
  QMF_RETURN_IF_NONZERO(FindStream(*container, blockType, stream, place));
  return CallPiece(*container, place.piece, &QMFModuleEntryPoints::ReadNextBlockByStream, blockType,
                   place.localStream, block, time);
}

QMFResult SetPosition(QMFContainer* container, std::uint32_t blockType, std::uint32_t stream,
                      std::int64_t* time) {
  QMF_RETURN_IF_NONZERO(CheckContainer(container));
  StreamPlace place{};
  QMF_RETURN_IF_NONZERO(FindStream(*container, blockType, stream, place));
  // The other pieces stay where they are, and so does what was read ahead of them.
  ForgetLookAhead(*container, place.piece);
  return CallPiece(*container, place.piece, &QMFModuleEntryPoints::SetPosition, blockType, place.localStream,
                   time);
}

}  // namespace qmf
