#include "readers/mkv/MkvTitle.h"

#include <utility>

#include "readers/mkv/MkvBlocks.h"

namespace qmf {

void MkvTitle::Select(std::shared_ptr<MkvSegment> segment) {
  neighbours.reset();
  singleSegment = std::move(segment);
  Rearrange();
}

void MkvTitle::Rearrange() {
  blocks.reset();
  parts.clear();
  segments.assign({singleSegment});
  currentSegment = 0;
}

MkvBlocks& MkvTitle::Blocks() {
  if (blocks == nullptr) {
    ArrangeMkvTitle(*this);
    blocks = std::allocate_shared<MkvBlocks>(
        std::pmr::polymorphic_allocator<MkvBlocks>(singleSegment->memory), *this);
  }
  return *blocks;
}

MkvNeighbours& MkvTitle::Neighbours() {
  return neighbours ? *neighbours : neighbours.emplace(path, singleSegment->memory);
}

}  // namespace qmf
