#include "readers/mkv/MkvTitle.h"

namespace qmf {

MkvBlocks& MkvTitle::Blocks() {
  MkvSegment& segment = *Current();
  if (blocks == nullptr || &blocks->Segment() != &segment) {
    blocks = std::allocate_shared<MkvBlocks>(std::pmr::polymorphic_allocator<MkvBlocks>(segment.memory),
                                             segment, delace);
  }
  return *blocks;
}

}  // namespace qmf
